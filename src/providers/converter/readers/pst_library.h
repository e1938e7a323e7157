// The library that reads Outlook's stores, loaded when it is first needed, and its objects under
// guards that free them.
#ifndef PV_PROVIDERS_CONVERTER_READERS_PST_LIBRARY_H_
#define PV_PROVIDERS_CONVERTER_READERS_PST_LIBRARY_H_

#include <libbfio.h>
#include <libpff.h>

#include <string>
#include <utility>

#include "base/status.h"

namespace pv::converter {

// The functions in use, by their names without "libpff_" and "libbfio_".
#define PV_PFF_FUNCTIONS(X)                    \
  X(file_initialize)                           \
  X(file_free)                                 \
  X(file_open_file_io_handle)                  \
  X(file_get_content_type)                     \
  X(file_get_message_store)                    \
  X(file_get_root_folder)                      \
  X(item_free)                                 \
  X(item_get_identifier)                       \
  X(item_get_number_of_record_sets)            \
  X(item_get_record_set_by_index)              \
  X(folder_get_number_of_sub_folders)          \
  X(folder_get_sub_folder)                     \
  X(folder_get_number_of_sub_messages)         \
  X(folder_get_sub_message)                    \
  X(record_set_free)                           \
  X(record_set_get_number_of_entries)          \
  X(record_set_get_entry_by_index)             \
  X(record_entry_free)                         \
  X(record_entry_get_entry_type)               \
  X(record_entry_get_value_type)               \
  X(record_entry_get_data_size)                \
  X(record_entry_get_data)                     \
  X(record_entry_get_name_to_id_map_entry)     \
  X(name_to_id_map_entry_get_type)             \
  X(name_to_id_map_entry_get_number)           \
  X(name_to_id_map_entry_get_guid)             \
  X(name_to_id_map_entry_get_utf8_string_size) \
  X(name_to_id_map_entry_get_utf8_string)      \
  X(error_sprint)                              \
  X(error_free)

struct PffLibrary {
#define PV_PFF_MEMBER(name) decltype(&::libpff_##name) name = nullptr;
  PV_PFF_FUNCTIONS(PV_PFF_MEMBER)
#undef PV_PFF_MEMBER
  decltype(&::libbfio_handle_initialize) handle_initialize = nullptr;
  decltype(&::libbfio_handle_free) handle_free = nullptr;

  // kUnsupported when the library is not installed.
  static Result<const PffLibrary*> Load();
};

// Frees an object of the library when it dies.
template <typename T, auto Free>
class PffHandle {
 public:
  explicit PffHandle(const PffLibrary* library) : library_(library) {}
  PffHandle(PffHandle&& other) noexcept
      : library_(other.library_), object_(std::exchange(other.object_, nullptr)) {}
  ~PffHandle() {
    if (object_ != nullptr) (library_->*Free)(&object_, nullptr);
  }
  PffHandle(const PffHandle&) = delete;
  PffHandle& operator=(const PffHandle&) = delete;

  T* get() const { return object_; }
  // Where the library puts a new object.
  T** out() { return &object_; }

 private:
  const PffLibrary* library_;
  T* object_ = nullptr;
};

using PffFile = PffHandle<libpff_file_t, &PffLibrary::file_free>;
using PffItem = PffHandle<libpff_item_t, &PffLibrary::item_free>;
using PffRecordSet = PffHandle<libpff_record_set_t, &PffLibrary::record_set_free>;
using PffEntry = PffHandle<libpff_record_entry_t, &PffLibrary::record_entry_free>;
using PffSource = PffHandle<libbfio_handle_t, &PffLibrary::handle_free>;

}  // namespace pv::converter

#endif  // PV_PROVIDERS_CONVERTER_READERS_PST_LIBRARY_H_
