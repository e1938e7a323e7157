// Numbering members and arranging arguments for them. Tested by member_table_test.cc and
// call_test.cc.
#include "pvgroupman/automation/member_table.h"

#include <cstdlib>

#include "base/text.h"

namespace pv::automation {
namespace {

// Whether the arguments are all there, in the declared order: they can be handed on as they are.
bool IsArranged(const Member& member, const Call& call) {
  if (!call.named.empty() || call.arguments.size() != member.arguments.size()) return false;
  for (std::size_t i = 0; i < call.arguments.size(); ++i) {
    if (call.arguments[i].IsMissing() && !member.arguments[i].optional) return false;
  }
  return true;
}

// Puts positional and named arguments into the declared order. `arguments` grows to the declared
// number; those left out are Missing.
void Arrange(const Member& member, Call& call, std::vector<Value>* arranged) {
  const std::size_t declared = member.arguments.size();
  // The new value of a property is given last, behind any others.
  const bool put = member.kind == MemberKind::kLet || member.kind == MemberKind::kSet;
  if (call.arguments.size() > declared) Raise(kErrArgumentCount, member.name);
  if (put && call.arguments.empty()) Raise(kErrArgumentCount, member.name);
  arranged->assign(declared, Value::Missing());
  const std::size_t leading = call.arguments.size() - (put ? 1 : 0);
  for (std::size_t i = 0; i < leading; ++i) (*arranged)[i] = call.arguments[i];
  if (put) arranged->back() = call.arguments.back();
  for (const NamedArgument& named : call.named) {
    std::size_t i = 0;
    while (i < declared && !EqualsIgnoreCase(member.arguments[i].name, named.name)) ++i;
    const bool given = i < leading || (put && i == declared - 1);
    if (i == declared || given) {
      Raise(kErrNamedArgument, member.name, std::string(named.name));
    }
    (*arranged)[i] = named.value;
  }
  for (std::size_t i = 0; i < declared; ++i) {
    if ((*arranged)[i].IsMissing() && !member.arguments[i].optional) {
      Raise(kErrArgumentMissing, member.name, member.arguments[i].name);
    }
  }
}

// Gives by-reference arguments their new values back.
void HandBack(const Member& member, std::vector<Value>& arranged, Call& call) {
  for (std::size_t i = 0; i < member.arguments.size(); ++i) {
    if (!member.arguments[i].by_reference) continue;
    if (i < call.arguments.size()) {
      call.arguments[i] = std::move(arranged[i]);
      continue;
    }
    for (NamedArgument& named : call.named) {
      if (EqualsIgnoreCase(member.arguments[i].name, named.name)) {
        named.value = std::move(arranged[i]);
        break;
      }
    }
  }
}

}  // namespace

namespace internal {
void RaiseNotA(const char* expected) {
  Raise(kErrTypeMismatch, {}, std::string("expected ") + expected);
}
}  // namespace internal

void MemberTable::CheckNames(std::size_t named, std::size_t declared) {
  if (named != declared) std::abort();
}

MemberTable& MemberTable::Append(Member member, std::optional<std::int32_t> id) {
  if (id) {
    member.id = *id;
  } else if (!members_.empty() && member.kind != MemberKind::kMethod &&
             members_.back().kind != MemberKind::kMethod && members_.back().name == member.name) {
    member.id = members_.back().id;
  } else {
    member.id = next_id_++;
  }
  members_.push_back(std::move(member));
  return *this;
}

std::int32_t MemberTable::IdOfName(std::string_view name) const {
  for (const Member& member : members_) {
    if (member.name == name || EqualsIgnoreCase(member.name, name)) return member.id;
  }
  return Object::kNoSuchId;
}

const Member* MemberTable::Find(std::int32_t id, CallKind kind) const {
  // A caller that puts a value without telling a reference from a value reaches a set too.
  const Member* set = nullptr;
  for (const Member& member : members_) {
    if (member.id != id) continue;
    if ((static_cast<unsigned>(kind) & static_cast<unsigned>(member.kind)) != 0) return &member;
    if (member.kind == MemberKind::kSet) set = &member;
  }
  return (kind & kCallLet) != 0 ? set : nullptr;
}

Value MemberTable::Dispatch(Object& object, std::int32_t id, Call& call) const {
  try {
    const Member* member = Find(id, call.kind);
    if (member == nullptr) Raise(kErrNoSuchMember, class_name_);
    std::vector<Value> arranged;
    if (member->kind == MemberKind::kGet && member->arguments.empty() &&
        member->result.kind == TypeKind::kObject && !call.arguments.empty()) {
      // Arguments to a property that takes none are meant for the default member of what it holds.
      const Ref<Object> held = member->call(object, nullptr).ToObject();
      if (!held) RaiseObjectNotSet();
      Call inner{kCallMethodOrGet, call.arguments, call.named};
      return held->Dispatch(kDefaultId, inner);
    }
    // The object must outlive the call even when the member drops the caller's last reference.
    const Ref<Object> hold(&object);
    if (IsArranged(*member, call)) return member->call(object, call.arguments.data());
    Arrange(*member, call, &arranged);
    Value result = member->call(object, arranged.data());
    HandBack(*member, arranged, call);
    return result;
  } catch (...) {
    throw CurrentError(class_name_);
  }
}

}  // namespace pv::automation
