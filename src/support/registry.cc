// The registry's class. Tested by registry_test.cc.
#include "pvgroupman/support/registry.h"

#include <exception>
#include <functional>
#include <utility>

#include "base/bytes.h"
#include "base/text.h"
#include "platform/system.h"
#include "pvgroupman/automation/member_table.h"
#include "support/log.h"

namespace pv::support {
namespace {

using automation::Error;
using automation::Value;

constexpr const char* kSource = "pvgrpman.cRegistry";

constexpr auto kClassesRoot = static_cast<std::int32_t>(platform::kClassesRoot);
constexpr auto kLocalMachine = static_cast<std::int32_t>(platform::kLocalMachine);

platform::Registry& Registry() { return *platform::CurrentSystem().registry; }

// An open key that is closed when it dies.
class OpenKey {
 public:
  explicit OpenKey(platform::RegistryKey key) : key_(key) {}
  OpenKey(OpenKey&& other) noexcept : key_(std::exchange(other.key_, 0)) {}
  ~OpenKey() {
    if (key_ != 0) Registry().Close(key_);
  }
  OpenKey& operator=(OpenKey&&) = delete;
  platform::RegistryKey get() const { return key_; }

 private:
  platform::RegistryKey key_;
};

// The root that operations begin at: a predefined key of this machine or an open one of another.
Result<OpenKey> Connect(const std::string& machine, std::int32_t root) {
  PV_ASSIGN_OR_RETURN(const platform::RegistryKey key, Registry().Connect(machine, root));
  return OpenKey(key);
}

// Opens or creates a key and closes what it took to get there.
Result<OpenKey> Reach(const std::string& machine, std::int32_t root, const std::string& section,
                      std::uint32_t access, bool create) {
  const auto reach = [&](platform::RegistryKey from) -> Result<OpenKey> {
    PV_ASSIGN_OR_RETURN(
        const platform::RegistryKey key,
        create ? Registry().Create(from, section, access) : Registry().Open(from, section, access));
    return OpenKey(key);
  };
  if (machine.empty()) return reach(root);
  PV_ASSIGN_OR_RETURN(const OpenKey remote, Connect(machine, root));
  return reach(remote.get());
}

// The classes' messages have no room for the reason: it goes to the log.
void LogReason(const char* operation, const std::string& reason) {
  if (LogsAt(kLogErrors)) Log(std::string("cRegistry::") + operation, reason, kLogErrors);
}

void LogUnlessMissing(const char* operation, const Status& status) {
  if (status.code() != StatusCode::kNotFound) LogReason(operation, status.message());
}

std::string UpToZero(const std::string& data) { return data.substr(0, data.find('\0')); }

// A value as it stands in a message.
std::string Shown(const Value& value) {
  if (const auto* bytes = value.TryGet<automation::Bytes>()) {
    return std::to_string(bytes->size()) + " bytes";
  }
  try {
    return value.ToText();
  } catch (const std::exception&) {
    return {};  // objects, arrays and Null have no text
  }
}

// The stored form of a value, or nothing when the type does not take it. Throws for a value that
// cannot become text.
std::optional<platform::RegistryValue> Stored(std::int32_t type, const Value& value) {
  switch (type) {
    case platform::kRegistryText:
    case platform::kRegistryExpandable:
      return platform::RegistryValue{static_cast<std::uint32_t>(type), value.ToText() + '\0'};
    case platform::kRegistryBinary: {
      const auto* bytes = value.TryGet<automation::Bytes>();
      if (bytes == nullptr) return std::nullopt;
      return platform::RegistryValue{platform::kRegistryBinary,
                                     std::string(bytes->begin(), bytes->end())};
    }
    case platform::kRegistryNumber:
    case platform::kRegistryBigEndianNumber: {
      if (value.type() != automation::ValueType::kI2 &&
          value.type() != automation::ValueType::kI4) {
        return std::nullopt;
      }
      platform::RegistryValue stored{platform::kRegistryNumber, std::string(4, '\0')};
      StoreLe32(stored.data.data(), static_cast<std::uint32_t>(value.ToI4()));
      return stored;
    }
    default:
      return std::nullopt;
  }
}

// What a read gives; nothing for a number of more than four bytes.
std::optional<Value> Read(const platform::RegistryValue& stored) {
  switch (stored.type) {
    case platform::kRegistryText:
    case platform::kRegistryTextList:
      return Value(UpToZero(stored.data));
    case platform::kRegistryExpandable:
      return Value(platform::CurrentSystem().process->ExpandEnvironment(UpToZero(stored.data)));
    case platform::kRegistryNumber:
    case platform::kRegistryBigEndianNumber: {
      if (stored.data.size() > 4) return std::nullopt;
      // Bytes that are missing are zeros.
      std::string bytes = stored.data;
      bytes.resize(4, '\0');
      return Value(static_cast<std::int32_t>(stored.type == platform::kRegistryNumber
                                                 ? LoadLe32(bytes.data())
                                                 : LoadBe32(bytes.data())));
    }
    default:
      return Value(automation::Bytes(stored.data.begin(), stored.data.end()));
  }
}

std::string OrDefault(const std::optional<std::string>& text, const std::string& fallback) {
  return text.value_or("").empty() ? fallback : *text;
}

// Puts a text back when it dies.
class Restored {
 public:
  explicit Restored(std::string* text) : text_(text), kept_(*text) {}
  ~Restored() { *text_ = std::move(kept_); }
  Restored(const Restored&) = delete;
  Restored& operator=(const Restored&) = delete;

 private:
  std::string* text_;
  std::string kept_;
};

}  // namespace

bool cRegistry::GetKeyExists() const {
  const Result<OpenKey> key =
      Reach(machine_, class_key_, section_key_, platform::kRegistryQuery, false);
  if (!key.ok()) LogUnlessMissing("KeyExists", key.status());
  return key.ok();
}

void cRegistry::CreateKey() {
  const Result<OpenKey> key =
      Reach(machine_, class_key_, section_key_, platform::kRegistryAll, true);
  if (key.ok()) return;
  LogReason("CreateKey", key.status().message());
  throw Error(kErrRegistry, kSource, "Failed to create registry Key: '" + section_key_);
}

void cRegistry::DeleteKey() {
  const Status deleted = [&]() -> Status {
    if (machine_.empty()) return Registry().DeleteKey(class_key_, section_key_);
    PV_ASSIGN_OR_RETURN(const OpenKey remote, Connect(machine_, class_key_));
    return Registry().DeleteKey(remote.get(), section_key_);
  }();
  if (deleted.ok()) return;
  LogReason("DeleteKey", deleted.message());
  throw Error(kErrRegistry, kSource,
              "Failed to delete registry Key: '" + std::to_string(class_key_) + "',Section: '" +
                  section_key_);
}

void cRegistry::DeleteValue() {
  const std::string where = std::to_string(class_key_) + "',Section: '" + section_key_;
  const Result<OpenKey> key =
      Reach(machine_, class_key_, section_key_, platform::kRegistryAll, false);
  if (!key.ok()) {
    LogReason("DeleteValue", key.status().message());
    throw Error(kErrRegistry, kSource, "Failed to open key '" + where + "' for delete access");
  }
  const Status deleted = Registry().DeleteValue(key->get(), value_key_);
  if (deleted.ok()) return;
  LogReason("DeleteValue", deleted.message());
  throw Error(kErrRegistry, kSource,
              "Failed to delete registry Key: '" + where + "',Key: '" + value_key_);
}

Value cRegistry::GetValue() const {
  const Result<OpenKey> key =
      Reach(machine_, class_key_, section_key_, platform::kRegistryRead, false);
  if (!key.ok()) {
    LogUnlessMissing("Value", key.status());
    return default_;
  }
  const auto stored = Registry().QueryValue(key->get(), value_key_);
  if (!stored.ok()) {
    LogUnlessMissing("Value", stored.status());
    return default_;
  }
  return Read(*stored).value_or(default_);
}

void cRegistry::FailWrite(std::int32_t number, const Value& value,
                          const std::string& reason) const {
  LogReason("Value", reason);
  throw Error(number, kSource,
              "Failed to set registry value Key: '" + std::to_string(class_key_) + "',Section: '" +
                  section_key_ + "',Key: '" + value_key_ + "' to value: '" + Shown(value) + "'");
}

void cRegistry::SetValue(const Value& NewValue) {
  const Result<OpenKey> key =
      Reach(machine_, class_key_, section_key_, platform::kRegistryAll, true);
  if (!key.ok()) FailWrite(kErrRegistry, NewValue, key.status().message());
  const auto stored = Stored(value_type_, NewValue);
  if (!stored) FailWrite(kErrRegistry, NewValue, "the value's type does not take this value");
  const Status written = Registry().SetValue(key->get(), value_key_, *stored);
  if (!written.ok()) FailWrite(kErrRegistryWrite, NewValue, written.message());
}

Value cRegistry::GetValueEx(std::int32_t ClassKey, const std::string& SectionKey,
                            const std::string& ValueKey,
                            const std::optional<std::int32_t>& ValueType) {
  (void)ValueType;  // there for the write, which has the same arguments
  class_key_ = ClassKey;
  section_key_ = SectionKey;
  value_key_ = ValueKey;
  return GetValue();
}

void cRegistry::SetValueEx(std::int32_t ClassKey, const std::string& SectionKey,
                           const std::string& ValueKey,
                           const std::optional<std::int32_t>& ValueType, const Value& NewValue) {
  class_key_ = ClassKey;
  section_key_ = SectionKey;
  value_key_ = ValueKey;
  value_type_ = ValueType.value_or(value_type_);
  SetValue(NewValue);
}

std::int32_t cRegistry::EnumerateValues(Value& Names) const {
  automation::TextArray names;
  const Result<OpenKey> key =
      Reach(machine_, class_key_, section_key_, platform::kRegistryRead, false);
  if (!key.ok()) LogUnlessMissing("EnumerateValues", key.status());
  const auto info =
      key.ok() ? Registry().QueryInfo(key->get()) : Result<platform::RegistryInfo>(key.status());
  const std::uint32_t count = info.ok() ? info->values : 0;
  for (std::uint32_t i = 0; i < count; ++i) {
    auto name = Registry().EnumValue(key->get(), i);
    if (!name.ok()) break;  // others may delete meanwhile
    names.push_back(*std::move(name));
  }
  const auto found = static_cast<std::int32_t>(names.size());
  Names = std::move(names);
  return found;
}

std::int32_t cRegistry::EnumerateSections(Value& Names) const {
  automation::TextArray names;
  const Result<OpenKey> key =
      Reach(machine_, class_key_, section_key_, platform::kRegistryRead, false);
  if (!key.ok()) LogUnlessMissing("EnumerateSections", key.status());
  for (std::uint32_t i = 0; key.ok(); ++i) {
    auto name = Registry().EnumKey(key->get(), i);
    if (!name.ok()) break;
    names.push_back(*std::move(name));
  }
  const auto found = static_cast<std::int32_t>(names.size());
  Names = std::move(names);
  return found;
}

void cRegistry::Associate(const std::string& section, const std::string& text) {
  const Restored restored(&section_key_);
  value_key_.clear();
  value_type_ = platform::kRegistryText;
  class_key_ = kClassesRoot;
  section_key_ = section;
  SetValue(text);
  class_key_ = kLocalMachine;
  section_key_ = "SOFTWARE\\Classes\\" + section;
  SetValue(text);
}

void cRegistry::CreateEXEAssociation(
    const std::string& ExePath, const std::string& Extension, const std::string& ClassName,
    const std::string& ClassDescription, const std::optional<std::string>& OpenMenuText,
    const std::optional<bool>& SupportPrint, const std::optional<std::string>& PrintMenuText,
    const std::optional<bool>& SupportAdd, const std::optional<std::string>& AddMenuText,
    const std::optional<bool>& SupportNew, const std::optional<std::string>& NewMenuText,
    const std::optional<std::int32_t>& IconIndex) {
  std::string path(TrimBlanks(ExePath));
  if (path.empty() || path.front() != '"' || path.back() != '"') path = '"' + path + '"';
  const auto verb = [&](const char* name, const std::string& text, const char* arguments) {
    const std::string section = ClassName + "\\shell\\" + name;
    Associate(section, text);
    Associate(section + "\\command", path + arguments);
  };
  Associate("." + Extension, ClassName);
  Associate(ClassName, ClassDescription);
  verb("open", OrDefault(OpenMenuText, "&Open"), " \"%1\"");
  if (SupportPrint.value_or(false)) {
    verb("print", OrDefault(PrintMenuText, "&Print"), " /p \"%1\"");
  }
  if (SupportAdd.value_or(false)) {
    verb("add", OrDefault(AddMenuText, "&Install " + Extension), " /a \"%1\"");
  }
  if (SupportNew.value_or(false)) verb("new", OrDefault(NewMenuText, "&New"), " /n \"%1\"");
  Associate(ClassName + "\\DefaultIcon", path + "," + std::to_string(IconIndex.value_or(0)));
}

void cRegistry::CreateAdditionalEXEAssociations(const std::string& ClassName, const Value& Items) {
  static const automation::TextArray kNone;
  const auto* texts = Items.TryGet<automation::TextArray>();
  if (texts == nullptr && Items.IsEmpty()) texts = &kNone;  // an array that was never given a size
  if (texts == nullptr || texts->size() % 3 != 0) {
    throw Error(kErrAssociationList, kSource,
                "Invalid parameter list passed to CreateAdditionalEXEAssociations - expected "
                "Name/Text/Command");
  }
  const Restored restored(&section_key_);
  class_key_ = kClassesRoot;
  section_key_ = ClassName;
  if (!GetKeyExists()) {
    throw Error(kErrAssociationClass, kSource,
                "Error - attempt to create additional associations before class defined.");
  }
  for (std::size_t i = 0; i < texts->size(); i += 3) {
    const std::string section = ClassName + "\\shell\\" + (*texts)[i];
    Associate(section, (*texts)[i + 1]);
    Associate(section + "\\command", (*texts)[i + 2]);
  }
}

const automation::MemberTable& cRegistry::Members() const {
  static const automation::MemberTable table =
      automation::Class(kClassName)
          .Property("Machine", &cRegistry::GetMachine, &cRegistry::SetMachine)
          .Property("ClassKey", &cRegistry::GetClassKey, &cRegistry::SetClassKey)
          .Property("SectionKey", &cRegistry::GetSectionKey, &cRegistry::SetSectionKey)
          .Property("ValueKey", &cRegistry::GetValueKey, &cRegistry::SetValueKey)
          .Property("ValueType", &cRegistry::GetValueType, &cRegistry::SetValueType)
          .Property("Default", &cRegistry::GetDefault, &cRegistry::SetDefault)
          .Get("KeyExists", &cRegistry::GetKeyExists)
          .Method("CreateKey", &cRegistry::CreateKey)
          .Method("DeleteKey", &cRegistry::DeleteKey)
          .Method("DeleteValue", &cRegistry::DeleteValue)
          .Property("Value", &cRegistry::GetValue, &cRegistry::SetValue)
          .Property("ValueEx", &cRegistry::GetValueEx, &cRegistry::SetValueEx,
                    {"ClassKey", "SectionKey", "ValueKey", "ValueType"})
          .Method("EnumerateValues", &cRegistry::EnumerateValues, {"Names"})
          .Method("EnumerateSections", &cRegistry::EnumerateSections, {"Names"})
          .Method("CreateEXEAssociation", &cRegistry::CreateEXEAssociation,
                  {"ExePath", "Extension", "ClassName", "ClassDescription", "OpenMenuText",
                   "SupportPrint", "PrintMenuText", "SupportAdd", "AddMenuText", "SupportNew",
                   "NewMenuText", "IconIndex"})
          .Method("CreateAdditionalEXEAssociations", &cRegistry::CreateAdditionalEXEAssociations,
                  {"ClassName", "Items"});
  return table;
}

}  // namespace pv::support
