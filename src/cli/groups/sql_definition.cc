// Makes definitions. Tested by tests/cli.
#include "cli/groups/sql_definition.h"

#include <memory>
#include <optional>

#include "base/text.h"
#include "cli/failure.h"
#include "cli/fields/conditions.h"
#include "cli/groups/group_cursor.h"
#include "cli/groups/sql_group.h"

namespace pv::cli {

using ado::CADOGroupProperties;
using ado::CDataSource;
using automation::MakeObject;
using automation::Ref;

namespace {

// Names that every database takes as they are, and as they are meant.
bool IsPlainName(const std::string& name) {
  if (name.empty() || (name[0] >= '0' && name[0] <= '9')) return false;
  return name.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789_") == name.npos;
}

// Names that can stand in a statement without signs around them: perhaps in other letter case, and
// with the name of their schema.
bool CanStandBare(const std::string& name) {
  std::string lower = ToLower(name);
  for (char& c : lower) {
    if (c == '.' || c == '$') c = '_';
  }
  return IsPlainName(lower);
}

// Whether the database answers a statement, and with what in the first field of its first row.
std::optional<std::string> Answer(SqlGroup* group, const std::string& statement) {
  try {
    const auto rows = group->RowsOf(statement);
    Cell cell;
    if (!rows->Next() || rows->fields().empty()) return "";
    rows->Read(0, &cell);
    return cell.text;
  } catch (const Failure&) {
    return std::nullopt;
  }
}

ValueKind KindOf(const CursorField& field) {
  switch (field.shape.type) {
    case 'N':
    case 'F':
    case 'I':
    case 'B':
    case 'Y':
      return ValueKind::kNumber;
    case 'L':
      return ValueKind::kPlain;
    default:
      return ValueKind::kText;
  }
}

class TableDefiner {
 public:
  TableDefiner(const Ref<CDataSource>& source, const WantedTable& wanted)
      : source_(source),
        wanted_(wanted),
        group_(source, MakeObject<CADOGroupProperties>()),
        dialect_(AskDialect(&group_)) {}

  Ref<CADOGroupProperties> Define() {
    FindTable();
    for (const std::string& text : wanted_.where) {
      std::vector<WrittenCondition> parsed = ParseConditions(text);
      const bool mixed = conditions_.empty() && wanted_.where.size() == 1;
      for (const WrittenCondition& condition : parsed) {
        if (condition.logical == "or" && !mixed) {
          throw Failure(kUsage, "--where with \"or\" can be given once only");
        }
      }
      conditions_.insert(conditions_.end(), parsed.begin(), parsed.end());
    }
    for (WrittenCondition& condition : conditions_) {
      const CursorField& field = fields_[FieldOf(condition.field)];
      condition.field = field.name;
      kinds_.push_back(KindOf(field));
    }
    // Field names without signs read best and do for every host; those that need signs get them.
    std::optional<Failure> first;
    for (const bool all_quoted : {false, true}) {
      const Ref<CADOGroupProperties> definition = Make(all_quoted);
      try {
        SqlGroup(source_, definition).Rows()->Next();
        return definition;
      } catch (const Failure& failure) {
        if (!first) first = failure;
      }
    }
    throw *first;
  }

 private:
  // Opens the table in the ways in which it may be written, and learns its fields.
  void FindTable() {
    const std::string& name = wanted_.table;
    std::optional<Failure> first;
    for (const WrittenTable& way : WaysToWrite(dialect_, name)) {
      try {
        fields_ = group_.RowsOf("select * from " + way.Text() + " where 1 = 0")->fields();
        table_ = way.name;
        left_ = way.left;
        right_ = way.right;
        return;
      } catch (const Failure& failure) {
        if (!first) first = failure;
      }
    }
    if (!first) throw Failure(kUsage, "the database cannot be asked for a table \"" + name + "\"");
    throw Failure(first->code(), "table \"" + name + "\": " + first->what());
  }

  // An exact name counts before one in other letter case.
  std::size_t FieldOf(const std::string& name) const {
    for (std::size_t i = 0; i < fields_.size(); ++i) {
      if (fields_[i].name == name) return i;
    }
    for (std::size_t i = 0; i < fields_.size(); ++i) {
      if (EqualsIgnoreCase(fields_[i].name, name)) return i;
    }
    std::string names;
    for (const CursorField& field : fields_) names += (names.empty() ? "" : ", ") + field.name;
    throw Failure(kUsage,
                  "table \"" + wanted_.table + "\" has no field " + name + "; it has " + names);
  }

  Ref<CADOGroupProperties> Make(bool all_quoted) const {
    const Ref<CADOGroupProperties> definition = MakeObject<CADOGroupProperties>();
    bool needs_statement = false;
    std::vector<std::string> names;
    for (const WrittenCondition& condition : conditions_) {
      const std::string& name = condition.field;
      std::string written = all_quoted || !IsPlainName(name) ? dialect_.Quoted(name) : name;
      if (written.find(' ') != written.npos) {
        // Hosts put back-quotes around such a name.
        const bool sound = dialect_.back_quotes && name.find('`') == name.npos;
        if (sound) {
          written = name;
        } else {
          needs_statement = true;
        }
      }
      names.push_back(written);
    }
    if (!needs_statement) {
      definition->SetTable(table_);
      definition->SetLeftBrace(left_);
      definition->SetRightBrace(right_);
      for (std::size_t i = 0; i < conditions_.size(); ++i) {
        const WrittenCondition& condition = conditions_[i];
        try {
          definition->GetFilters()->Add(names[i], OperatorText(condition.op), condition.op,
                                        SqlValue(condition, kinds_[i], dialect_.backslash_escapes),
                                        condition.logical);
        } catch (const automation::Error& error) {
          if (error.number() != automation::kErrDuplicateKey) throw;
          // The same condition twice, or in other letter case.
          needs_statement = true;
          break;
        }
      }
      if (!needs_statement) return definition;
    }
    std::string sql = "select * from " + left_ + table_ + right_;
    for (std::size_t i = 0; i < conditions_.size(); ++i) {
      const WrittenCondition& condition = conditions_[i];
      const bool bare = !all_quoted && IsPlainName(condition.field);
      sql += i == 0 ? " where " : " " + condition.logical + " ";
      sql += (bare ? condition.field : dialect_.Quoted(condition.field)) + " " + condition.op +
             " " + SqlValue(condition, kinds_[i], dialect_.backslash_escapes);
    }
    return DefineStatement(sql);
  }

  const Ref<CDataSource>& source_;
  const WantedTable& wanted_;
  SqlGroup group_;
  SqlDialect dialect_;
  std::string table_, left_, right_;
  std::vector<CursorField> fields_;
  std::vector<WrittenCondition> conditions_;
  std::vector<ValueKind> kinds_;
};

}  // namespace

std::string Doubled(std::string text, const std::string& sign) {
  for (std::size_t at = 0; (at = text.find(sign, at)) != text.npos; at += 2 * sign.size()) {
    text.insert(at, sign);
  }
  return text;
}

SqlDialect AskDialect(SqlGroup* group) {
  group->Connection();  // a failure of this is none of the questions'
  SqlDialect dialect;
  // Where the signs quote a text rather than a name, the answer is the text.
  const auto names_with = [&](const std::string& left, const std::string& right) {
    return Answer(group, "select " + left + "x" + right + " from (select 1 as x) t") == "1";
  };
  dialect.back_quotes = names_with("`", "`");
  if (names_with("\"", "\"")) {
    dialect.left = dialect.right = "\"";
  } else if (dialect.back_quotes) {
    dialect.left = dialect.right = "`";
  } else if (names_with("[", "]")) {
    dialect.left = "[";
    dialect.right = "]";
  }
  dialect.backslash_escapes = Answer(group, "select '\\\\'") == "\\";
  return dialect;
}

std::string SqlDialect::Quoted(const std::string& name) const {
  return right.empty() ? name : left + Doubled(name, right) + right;
}

std::vector<WrittenTable> WaysToWrite(const SqlDialect& dialect, const std::string& name) {
  std::vector<WrittenTable> ways;
  if (!dialect.right.empty()) {
    ways.push_back({Doubled(name, dialect.right), dialect.left, dialect.right});
  }
  if (CanStandBare(name)) ways.push_back({name, "", ""});
  if (!dialect.right.empty() && name.find('.') != name.npos) {
    std::string parts = Doubled(name, dialect.right);
    const std::string between = dialect.right + "." + dialect.left;
    for (std::size_t at = 0; (at = parts.find('.', at)) != parts.npos; at += between.size()) {
      parts.replace(at, 1, between);
    }
    ways.push_back({parts, dialect.left, dialect.right});
  }
  return ways;
}

SqlDialect AskDialect(const Ref<CDataSource>& source) {
  SqlGroup group(source, MakeObject<CADOGroupProperties>());
  return AskDialect(&group);
}

Ref<CADOGroupProperties> DefineTable(const Ref<CDataSource>& source, const WantedTable& wanted) {
  return TableDefiner(source, wanted).Define();
}

Ref<CADOGroupProperties> DefineStatement(const std::string& sql) {
  const Ref<CADOGroupProperties> definition = MakeObject<CADOGroupProperties>();
  definition->SetFilterMethod(1);
  definition->SetSql(sql);
  return definition;
}

}  // namespace pv::cli
