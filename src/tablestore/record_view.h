// The record that a cursor stands on, as its Fields object shows it.
//
// Where the record comes from is a derived class's business. Until the cursor moves a value is
// decoded when somebody reads it, the view takes away what the host still holds just before that,
// and the Field objects are used again from record to record.
#ifndef PV_TABLESTORE_RECORD_VIEW_H_
#define PV_TABLESTORE_RECORD_VIEW_H_

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "pvgroupman/automation/object.h"
#include "pvgroupman/automation/text_key.h"
#include "pvgroupman/automation/value.h"
#include "pvgroupman/tablestore/fields.h"

namespace pv::tablestore {

class RecordView {
 public:
  // What Fields shows.
  enum class Shows : std::uint8_t {
    kNothing,    // Count is 0
    kRecord,     // the current record
    kNewRecord,  // every field, each Empty until it is set
  };

  RecordView(const RecordView&) = delete;
  RecordView& operator=(const RecordView&) = delete;

  Shows shows() const { return shows_; }

  // Empties Fields; to be called before the record changes. Fields that the host holds go on
  // their own with the values they have.
  void Clear();

  // Shows the record that the cursor landed on, or a new one.
  void Show(Shows what) { shows_ = what; }

  // Fields keeps the values of this moment and is no longer connected.
  void Detach();

  // Another Fields object shows the record from the next Clear or Show on; until then it holds
  // what its maker put in.
  void SetFields(automation::Ref<Fields> fields);

 protected:
  // A view without fields.
  explicit RecordView(automation::Ref<Fields> fields) : fields_(std::move(fields)) {}
  virtual ~RecordView() = default;

  // The names of the fields, in order; before anything is shown.
  void SetNames(std::vector<std::string> names);

  // Reads a field of the record that is shown into `value`, whose memory is used again.
  virtual void Read(std::int32_t ordinal, automation::Value* value) const = 0;

  // Ends the connection; the first thing that a derived class's destructor does, as long as it
  // can read.
  void Finish();

  // Decodes every field, so that the record may go while the view stays as it is.
  void Keep();

  // The value that the host assigned to a field of this record; when it left the field alone, null
  // or, with `all`, what the field shows on its own or Empty. Error 91 when the host has taken the
  // field out of Fields.
  const automation::Value* Assigned(std::int32_t ordinal, bool all) const;

  // From now on only new assignments count.
  void ForgetAssignments();

 private:
  friend class Field;
  friend class Fields;

  // For Fields and Field while they are connected.
  std::int32_t Count() const {
    return shows_ == Shows::kNothing ? 0 : static_cast<std::int32_t>(names_.size());
  }
  std::int32_t OrdinalOf(std::string_view name) const;  // -1 when there is none
  const automation::Ref<Field>& FieldAt(std::int32_t ordinal);
  const automation::Value& ValueOf(const Field& field) const;
  void Assign(Field& field, const automation::Value& value);

  void LetGo(Field& field);
  void Connect();
  void ReleaseHeld();

  automation::Ref<Fields> fields_;
  std::vector<std::string> names_;
  automation::TextKeyMap<std::int32_t> ordinals_;
  // Hosts ask for the same few fields again and again, and write each name in their own way.
  mutable std::vector<std::string> spellings_;
  mutable std::size_t last_found_ = 0;  // ordinal
  Shows shows_ = Shows::kNothing;
  std::uint64_t epoch_ = 1;  // grows with each record: what was decoded or set before is void

  std::vector<automation::Ref<Field>> cache_;  // by ordinal; empty until asked for
  std::vector<std::int32_t> handed_out_;       // ordinals that the host may hold
  std::vector<char> is_handed_out_;            // by ordinal
};

}  // namespace pv::tablestore

#endif  // PV_TABLESTORE_RECORD_VIEW_H_
