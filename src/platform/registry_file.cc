// The registry in a text file. Tested by registry_file_test.cc.
#include "platform/registry_file.h"

#include <algorithm>

#include "base/text.h"

namespace pv::platform {
namespace {

// How long readers and writers wait for another writer.
constexpr std::uint32_t kWaitMilliseconds = 2000;

// The bit of an access mask that changing a value needs.
constexpr std::uint32_t kMaySetValue = 2;

Status Failure(StatusCode code, RegistryCode number, std::string message) {
  return {code, std::move(message), number};
}

Status NotFound(const std::string& what) {
  return Failure(StatusCode::kNotFound, kRegistryNotFound, what + " is not in the registry");
}

// A failure of the file, under the number that the registry's functions would give.
Status FromFile(const Status& status) {
  RegistryCode number = kRegistryDeviceError;
  switch (status.code()) {
    case StatusCode::kNotFound:
      number = kRegistryPathNotFound;
      break;
    case StatusCode::kBusy:
      number = kRegistryInUse;
      break;
    case StatusCode::kDenied:
      number = kRegistryAccessDenied;
      break;
    case StatusCode::kNoSpace:
      number = kRegistryDiskFull;
      break;
    case StatusCode::kLimit:
      number = kRegistryNoMemory;
      break;
    case StatusCode::kCorrupt:
      number = kRegistryDamaged;
      break;
    default:
      break;
  }
  return {status.code(), status.message(), number};
}

std::string Joined(const std::vector<std::string>& path) {
  std::string text;
  for (const std::string& name : path) text.append(text.empty() ? "" : "\\").append(name);
  return text;
}

RegistryNode* Find(const RegistryNode& root, const std::vector<std::string>& path) {
  const RegistryNode* node = &root;
  for (const std::string& name : path) {
    node = node->FindKey(name);
    if (node == nullptr) return nullptr;
  }
  return const_cast<RegistryNode*>(node);
}

// A predefined key in which nothing is stored yet.
const RegistryNode kNothing;

}  // namespace

Result<std::string> FileRegistry::FilePath() const {
  const std::string folder = process_->ConfigFolder();
  if (folder.empty()) {
    return Failure(StatusCode::kNotFound, kRegistryPathNotFound,
                   "there is no configuration folder for the registry");
  }
  return JoinPath(folder, kRegistryFile);
}

Result<FileRegistry::Handle> FileRegistry::HandleOf(RegistryKey key) const {
  if (key == kClassesRoot) {
    return Handle{{"HKEY_LOCAL_MACHINE", "SOFTWARE", "Classes"}, kRegistryAll, true};
  }
  if (key == kCurrentUser) return Handle{{"HKEY_CURRENT_USER"}, kRegistryAll, true};
  if (key == kLocalMachine) return Handle{{"HKEY_LOCAL_MACHINE"}, kRegistryAll, true};
  if (key == kUsers) return Handle{{"HKEY_USERS"}, kRegistryAll, true};
  if (key == kCurrentConfig) return Handle{{"HKEY_CURRENT_CONFIG"}, kRegistryAll, true};
  const auto it = open_.find(key);
  if (it != open_.end()) return it->second;
  return Failure(StatusCode::kInvalid, kRegistryInvalidHandle,
                 std::to_string(key) + " is no open registry key");
}

Result<FileRegistry::Path> FileRegistry::PathBelow(RegistryKey parent,
                                                   const std::string& path) const {
  PV_ASSIGN_OR_RETURN(Handle handle, HandleOf(parent));
  if (!path.empty() && path.front() == '\\') {
    return Failure(StatusCode::kInvalid, kRegistryBadPath,
                   "a registry path begins with \"\\\": " + path);
  }
  std::string_view rest = path;
  if (!rest.empty() && rest.back() == '\\') rest.remove_suffix(1);
  while (!rest.empty()) {
    const std::size_t end = std::min(rest.find('\\'), rest.size());
    const std::string_view name = rest.substr(0, end);
    rest.remove_prefix(std::min(end + 1, rest.size()));
    if (!IsKeyName(name) || handle.path.size() == kDeepestKey) {
      return Failure(StatusCode::kInvalid, kRegistryInvalidParameter,
                     "a registry key cannot have the path " + path);
    }
    handle.path.emplace_back(name);
  }
  return std::move(handle.path);
}

RegistryKey FileRegistry::Add(Path path, std::uint32_t access) {
  open_[next_] = {std::move(path), access, false};
  return next_++;
}

Result<const RegistryNode*> FileRegistry::Understand(std::string content, const std::string& file) {
  if (tree_ == nullptr || content != content_) {
    tree_ = nullptr;
    PV_ASSIGN_OR_RETURN(tree_, ReadRegistryText(content, file));
    content_ = std::move(content);
  }
  return static_cast<const RegistryNode*>(tree_.get());
}

Result<const RegistryNode*> FileRegistry::Load() {
  PV_ASSIGN_OR_RETURN(const std::string file, FilePath());
  OpenOptions options;
  options.read_only = true;
  const Result<std::unique_ptr<File>> opened = OpenWithin(files_, file, options, kWaitMilliseconds);
  if (!opened.ok()) {
    if (opened.status().code() == StatusCode::kNotFound) return Understand({}, file);
    return FromFile(opened.status());
  }
  Result<std::string> content = ReadWholeFile(opened->get(), kLargestRegistry);
  if (!content.ok()) return FromFile(content.status());
  return Understand(*std::move(content), file);
}

Result<const RegistryNode*> FileRegistry::NodeOf(RegistryKey key) {
  PV_ASSIGN_OR_RETURN(const Handle handle, HandleOf(key));
  PV_ASSIGN_OR_RETURN(const RegistryNode* const root, Load());
  const RegistryNode* const node = Find(*root, handle.path);
  if (node != nullptr) return node;
  if (handle.predefined) return &kNothing;
  return Failure(StatusCode::kNotFound, kRegistryKeyDeleted,
                 Joined(handle.path) + " has been deleted from the registry");
}

Status FileRegistry::Change(const std::function<Result<bool>(RegistryNode*)>& change) {
  PV_ASSIGN_OR_RETURN(const std::string file, FilePath());
  Status folder = files_->CreateFolders(std::string(FolderOf(file)));
  if (!folder.ok()) return FromFile(folder);
  // Whoever holds the file alone may replace it; the next one opens what replaced it.
  OpenOptions options;
  options.create = CreateMode::kOpenOrCreate;
  options.share = ShareMode::kDenyWrite;
  const Result<std::unique_ptr<File>> held = OpenWithin(files_, file, options, kWaitMilliseconds);
  if (!held.ok()) return FromFile(held.status());
  Result<std::string> content = ReadWholeFile(held->get(), kLargestRegistry);
  if (!content.ok()) return FromFile(content.status());
  PV_RETURN_IF_ERROR(Understand(*std::move(content), file).status());
  // The tree is the file's again only when the change is stored.
  std::unique_ptr<RegistryNode> tree = std::move(tree_);
  PV_ASSIGN_OR_RETURN(const bool changed, change(tree.get()));
  if (!changed) return Status::Ok();
  if ((*held)->read_only()) {
    return Failure(StatusCode::kDenied, kRegistryAccessDenied,
                   file + ": cannot write: the file is read-only");
  }
  const std::string text = WriteRegistryText(*tree);
  if (text.size() > kLargestRegistry) {
    return Failure(StatusCode::kLimit, kRegistryNoMemory,
                   file + ": would grow beyond " + std::to_string(kLargestRegistry) + " bytes");
  }
  const Status replaced = ReplaceFile(files_, file, text);
  if (!replaced.ok()) return FromFile(replaced);
  content_ = text;
  tree_ = std::move(tree);
  return Status::Ok();
}

Result<RegistryKey> FileRegistry::Connect(const std::string& machine, RegistryKey root) {
  (void)root;
  return Failure(StatusCode::kUnsupported, kRegistryNoNetworkPath,
                 "the registry of the machine " + machine + " cannot be reached from here");
}

Result<RegistryKey> FileRegistry::Open(RegistryKey parent, const std::string& path,
                                       std::uint32_t access) {
  const std::lock_guard<std::mutex> guard(mutex_);
  PV_ASSIGN_OR_RETURN(Path whole, PathBelow(parent, path));
  PV_ASSIGN_OR_RETURN(const Handle above, HandleOf(parent));
  PV_ASSIGN_OR_RETURN(const RegistryNode* const root, Load());
  const bool predefined = above.predefined && above.path.size() == whole.size();
  if (Find(*root, whole) == nullptr && !predefined) return NotFound(Joined(whole));
  return Add(std::move(whole), access);
}

Result<RegistryKey> FileRegistry::Create(RegistryKey parent, const std::string& path,
                                         std::uint32_t access) {
  const std::lock_guard<std::mutex> guard(mutex_);
  PV_ASSIGN_OR_RETURN(Path whole, PathBelow(parent, path));
  PV_RETURN_IF_ERROR(Change([&](RegistryNode* root) -> Result<bool> {
    if (Find(*root, whole) != nullptr) return false;
    for (const std::string& name : whole) root = root->FindOrAddKey(name);
    return true;
  }));
  return Add(std::move(whole), access);
}

void FileRegistry::Close(RegistryKey key) {
  const std::lock_guard<std::mutex> guard(mutex_);
  open_.erase(key);
}

Status FileRegistry::DeleteKey(RegistryKey parent, const std::string& path) {
  const std::lock_guard<std::mutex> guard(mutex_);
  PV_ASSIGN_OR_RETURN(const Path whole, PathBelow(parent, path));
  PV_ASSIGN_OR_RETURN(const Handle above, HandleOf(parent));
  return Change([&](RegistryNode* root) -> Result<bool> {
    if (above.predefined && above.path.size() == whole.size()) {
      return Failure(StatusCode::kDenied, kRegistryAccessDenied,
                     Joined(whole) + " is a predefined key and cannot be deleted");
    }
    RegistryNode* const node = Find(*root, whole);
    if (node == nullptr) return NotFound(Joined(whole));
    if (!node->keys.empty()) {
      return Failure(StatusCode::kDenied, kRegistryAccessDenied,
                     Joined(whole) + " has keys below it and cannot be deleted");
    }
    RegistryNode* const holder = Find(*root, Path(whole.begin(), whole.end() - 1));
    holder->keys.erase(ToUpper(whole.back()));
    return true;
  });
}

Status FileRegistry::DeleteValue(RegistryKey key, const std::string& name) {
  const std::lock_guard<std::mutex> guard(mutex_);
  PV_ASSIGN_OR_RETURN(const Handle handle, HandleOf(key));
  if ((handle.access & kMaySetValue) == 0) {
    return Failure(StatusCode::kDenied, kRegistryAccessDenied,
                   Joined(handle.path) + " is open for reading only");
  }
  return Change([&](RegistryNode* root) -> Result<bool> {
    RegistryNode* const node = Find(*root, handle.path);
    const std::size_t at = node == nullptr ? 0 : node->FindValue(name);
    if (node == nullptr || at == node->values.size()) {
      return NotFound("the value \"" + name + "\" of " + Joined(handle.path));
    }
    node->values.erase(node->values.begin() + static_cast<std::ptrdiff_t>(at));
    return true;
  });
}

Result<RegistryValue> FileRegistry::QueryValue(RegistryKey key, const std::string& name) {
  const std::lock_guard<std::mutex> guard(mutex_);
  PV_ASSIGN_OR_RETURN(const RegistryNode* const node, NodeOf(key));
  const std::size_t at = node->FindValue(name);
  if (at == node->values.size()) return NotFound("the value \"" + name + "\"");
  return node->values[at].second;
}

Status FileRegistry::SetValue(RegistryKey key, const std::string& name,
                              const RegistryValue& value) {
  const std::lock_guard<std::mutex> guard(mutex_);
  PV_ASSIGN_OR_RETURN(const Handle handle, HandleOf(key));
  if ((handle.access & kMaySetValue) == 0) {
    return Failure(StatusCode::kDenied, kRegistryAccessDenied,
                   Joined(handle.path) + " is open for reading only");
  }
  if (!IsValueName(name)) {
    return Failure(StatusCode::kInvalid, kRegistryInvalidParameter,
                   "a registry value cannot have the name \"" + name + "\"");
  }
  return Change([&](RegistryNode* root) -> Result<bool> {
    RegistryNode* node = Find(*root, handle.path);
    if (node == nullptr) {
      if (!handle.predefined) {
        return Failure(StatusCode::kNotFound, kRegistryKeyDeleted,
                       Joined(handle.path) + " has been deleted from the registry");
      }
      node = root;
      for (const std::string& part : handle.path) node = node->FindOrAddKey(part);
    }
    const std::size_t at = node->FindValue(name);
    if (at == node->values.size()) {
      node->values.emplace_back(name, value);
    } else if (node->values[at].second == value) {
      return false;
    } else {
      node->values[at].second = value;
    }
    return true;
  });
}

Result<RegistryInfo> FileRegistry::QueryInfo(RegistryKey key) {
  const std::lock_guard<std::mutex> guard(mutex_);
  PV_ASSIGN_OR_RETURN(const RegistryNode* const node, NodeOf(key));
  RegistryInfo info;
  info.values = static_cast<std::uint32_t>(node->values.size());
  for (const auto& [name, value] : node->values) {
    info.longest_value_name =
        std::max(info.longest_value_name, static_cast<std::uint32_t>(Utf16Length(name)));
  }
  return info;
}

Result<std::string> FileRegistry::EnumKey(RegistryKey key, std::uint32_t index) {
  const std::lock_guard<std::mutex> guard(mutex_);
  PV_ASSIGN_OR_RETURN(const RegistryNode* const node, NodeOf(key));
  if (index >= node->keys.size()) {
    return Failure(StatusCode::kNotFound, kRegistryNoMoreItems, "there are no more keys");
  }
  return std::next(node->keys.begin(), static_cast<std::ptrdiff_t>(index))->second->name;
}

Result<std::string> FileRegistry::EnumValue(RegistryKey key, std::uint32_t index) {
  const std::lock_guard<std::mutex> guard(mutex_);
  PV_ASSIGN_OR_RETURN(const RegistryNode* const node, NodeOf(key));
  if (index >= node->values.size()) {
    return Failure(StatusCode::kNotFound, kRegistryNoMoreItems, "there are no more values");
  }
  return node->values[index].first;
}

std::size_t FileRegistry::OpenKeys() const {
  const std::lock_guard<std::mutex> guard(mutex_);
  return open_.size();
}

}  // namespace pv::platform
