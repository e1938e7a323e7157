// Plans an import. Tested by import_plan_test.cc.
#include "cli/import/import_plan.h"

#include <algorithm>
#include <optional>

#include "base/text.h"
#include "cli/failure.h"
#include "cli/fields/field_names.h"

namespace pv::cli {
namespace {

constexpr std::size_t kLeastAddressWidth = 100;

class Planner {
 public:
  Planner(const std::vector<std::string>& headings, const std::vector<ColumnStats>& stats,
          const ImportOptions& options, const GroupShape& group)
      : stats_(stats), options_(options), group_(group), inference_(stats, options.inference) {
    for (const std::string& heading : headings)
      plan_.columns.push_back({heading, "", {}, {}, "", false});
    shapes_.resize(headings.size());
    texts_.resize(headings.size());
  }

  ImportPlan Make() {
    ApplyMappings();
    FindAddressColumn();
    NameFields();
    CheckFieldsDiffer();
    for (std::size_t i = 0; i < plan_.columns.size(); ++i) {
      PlannedColumn& column = plan_.columns[i];
      if (column.field.empty()) continue;
      column.reading = inference_.ReadingOf(i);
      if (group_.fields.empty()) {
        ShapeNew(i);
      } else {
        ShapeExisting(&column);
      }
    }
    return std::move(plan_);
  }

 private:
  std::size_t ColumnOf(const std::string& name) const {
    for (std::size_t i = 0; i < plan_.columns.size(); ++i) {
      if (EqualsIgnoreCase(TrimBlanks(plan_.columns[i].heading), name)) return i;
    }
    for (std::size_t i = 0; i < plan_.columns.size(); ++i) {
      if (std::to_string(i + 1) == name) return i;
    }
    throw Failure(kUsage, "--map: the source has no column \"" + name + "\"");
  }

  void ApplyMappings() {
    for (const ColumnMapping& mapping : options_.mappings) {
      const std::size_t i = ColumnOf(mapping.column);
      if (plan_.columns[i].mapped) {
        throw Failure(kUsage, "--map names column \"" + mapping.column + "\" twice");
      }
      plan_.columns[i].mapped = true;
      plan_.columns[i].field = ToUpper(mapping.field);
      shapes_[i] = mapping.shape;
      texts_[i] = mapping.text;
      if (!group_.fields.empty() && mapping.shape) {
        throw Failure(kUsage, "--map " + mapping.column + "=" + mapping.field +
                                  ": the fields of a group that is there have their types already");
      }
    }
  }

  void FindAddressColumn() {
    std::optional<std::size_t> certain, likely, by_content, by_name;
    double best_share = 0.5;
    for (std::size_t i = 0; i < plan_.columns.size(); ++i) {
      if (plan_.columns[i].mapped) {
        if (EqualsIgnoreCase(plan_.columns[i].field, group_.address_field)) {
          plan_.address_column = i;
          return;
        }
        continue;
      }
      const ColumnStats& s = stats_[i];
      const bool mostly = s.addresses() * 2 >= s.filled();
      bool sure = false;
      if (IsAddressHeading(plan_.columns[i].heading, &sure)) {
        if (sure && mostly && !certain) certain = i;
        if (sure && !by_name) by_name = i;
        if (!sure && mostly && s.filled() > 0 && !likely) likely = i;
      }
      if (s.filled() == 0) continue;
      const double share = static_cast<double>(s.addresses()) / static_cast<double>(s.filled());
      if (share > best_share) {
        best_share = share;
        by_content = i;
      }
    }
    // Rejected rows that come back may be bad addresses throughout: then the heading alone counts.
    const auto found = certain ? certain : likely ? likely : by_content ? by_content : by_name;
    if (!found) {
      throw Failure(kUsage, "no column holds e-mail addresses; name it with --map COLUMN=" +
                                group_.address_field);
    }
    plan_.address_column = *found;
    plan_.columns[*found].field = group_.address_field;
  }

  void NameFields() {
    std::vector<std::string> taken;
    std::vector<std::string> headings;
    for (std::size_t i = 0; i < plan_.columns.size(); ++i) {
      const PlannedColumn& column = plan_.columns[i];
      const bool settled = plan_.columns[i].mapped || i == plan_.address_column;
      if (settled && !column.field.empty()) taken.push_back(column.field);
      headings.push_back(settled ? "" : column.heading);
    }
    const std::vector<std::string> names = FieldNamesOf(headings, taken);
    for (std::size_t i = 0; i < names.size(); ++i) {
      if (plan_.columns[i].mapped || i == plan_.address_column) continue;
      PlannedColumn& column = plan_.columns[i];
      column.field = names[i];
      if (group_.fields.empty() || FindField(group_.fields, names[i]) != nullptr) continue;
      throw Failure(kUsage, "column \"" + column.heading +
                                "\" has no field in the group: --map \"" + column.heading +
                                "=FIELD\" names one, --map \"" + column.heading +
                                "=\" leaves the column out");
    }
  }

  void CheckFieldsDiffer() const {
    for (std::size_t i = 0; i < plan_.columns.size(); ++i) {
      for (std::size_t k = 0; k < i; ++k) {
        const std::string& field = plan_.columns[i].field;
        if (field.empty() || !EqualsIgnoreCase(field, plan_.columns[k].field)) continue;
        throw Failure(kUsage, "columns \"" + plan_.columns[k].heading + "\" and \"" +
                                  plan_.columns[i].heading + "\" both go to field " + field);
      }
    }
  }

  void ShapeNew(std::size_t i) {
    PlannedColumn& column = plan_.columns[i];
    if (i == plan_.address_column) {
      if (shapes_[i] && shapes_[i]->type != 'C') {
        throw Failure(kUsage, "the address field must be of type C");
      }
      const std::size_t width = (stats_[i].max_bytes() + 9) / 10 * 10;
      column.shape = shapes_[i].value_or(
          FieldShape{'C', std::clamp(width, kLeastAddressWidth, kMaxKeyBytes), 0});
      if (column.shape.length > kMaxKeyBytes) {
        throw Failure(kUsage, "the address field can have " + std::to_string(kMaxKeyBytes) +
                                  " bytes at most");
      }
      return;
    }
    column.shape =
        shapes_[i].value_or(inference_.ShapeOf(i, texts_[i] || IsCodeHeading(column.heading)));
    const bool dates = inference_.HoldsDates(i) && column.reading.order_unknown;
    if (dates && column.shape.type == 'C' && !shapes_[i]) {
      column.note = "dates whose day and month cannot be told apart stay text; see --date-order";
    }
    CheckReading(column);
  }

  void ShapeExisting(PlannedColumn* column) {
    const RecordField* field = FindField(group_.fields, column->field);
    if (field == nullptr) {
      throw Failure(kUsage, "the group has no field " + column->field);
    }
    if (!FieldWriter::CanWrite(field->shape.type)) {
      throw Failure(kUsage, "field " + field->name + " is of type " + DescribeShape(field->shape) +
                                ", which cannot be imported");
    }
    column->field = field->name;
    column->shape = field->shape;
    CheckReading(*column);
  }

  void CheckReading(const PlannedColumn& column) const {
    const bool date = column.shape.type == 'D' || column.shape.type == 'T';
    if (date && column.reading.order_unknown) {
      throw Failure(kUsage, "column \"" + column.heading +
                                "\": day and month cannot be told apart; give --date-order");
    }
  }

  const std::vector<ColumnStats>& stats_;
  const ImportOptions& options_;
  const GroupShape& group_;
  Inference inference_;
  ImportPlan plan_;
  std::vector<std::optional<FieldShape>> shapes_;  // from --map
  std::vector<bool> texts_;
};

}  // namespace

std::vector<engine::FieldRecord> ImportPlan::NewFields() const {
  std::vector<engine::FieldRecord> fields;
  const auto add = [&fields](const PlannedColumn& column) {
    if (column.field.empty()) return;
    engine::FieldRecord field;
    field.name = column.field;
    field.type = static_cast<std::int16_t>(column.shape.type);
    field.length = static_cast<std::uint16_t>(column.shape.length);
    field.decimals = static_cast<std::uint16_t>(column.shape.decimals);
    fields.push_back(std::move(field));
  };
  add(columns[address_column]);
  for (std::size_t i = 0; i < columns.size(); ++i) {
    if (i != address_column) add(columns[i]);
  }
  return fields;
}

ImportPlan MakePlan(const std::vector<std::string>& headings, const std::vector<ColumnStats>& stats,
                    const ImportOptions& options, const GroupShape& group) {
  return Planner(headings, stats, options, group).Make();
}

}  // namespace pv::cli
