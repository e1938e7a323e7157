// What the engine's tests share: a table of people in the in-memory file system.
#ifndef PV_TABLESTORE_ENGINE_ENGINE_TEST_SUPPORT_H_
#define PV_TABLESTORE_ENGINE_ENGINE_TEST_SUPPORT_H_

#include <gtest/gtest.h>

#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/memory/memory_system.h"
#include "tablestore/engine/error_codes.h"
#include "tablestore/engine/operations.h"

namespace pv::engine {

struct Person {
  std::string email;
  std::string first;
  double score = 0;
  std::string note;
  bool operator==(const Person&) const = default;
};

inline void PrintTo(const Person& p, std::ostream* out) {
  *out << "{" << p.email << ", " << p.first << ", " << p.score << ", \"" << p.note.substr(0, 20)
       << "\" (" << p.note.size() << ")}";
}

inline std::string Trimmed(const std::uint8_t* p, std::int32_t length) {
  std::string s(reinterpret_cast<const char*>(p), static_cast<std::size_t>(length));
  s.erase(s.find_last_not_of(' ') + 1);
  return s;
}

inline std::vector<FieldRecord> PeopleFields() {
  return {{"EMAIL", 'C', 40, 0, 0},
          {"FIRST", 'C', 12, 0, 0},
          {"SCORE", 'N', 8, 2, 0},
          {"NOTE", 'M', 4, 0, 0}};
}

inline std::vector<TagRecord> PeopleTags() {
  return {{"EMAIL", "EMAIL", ".NOT. DELETED()", kUniqueKey, 0},
          {"FIRST", "UPPER(FIRST)", ".NOT. DELETED()", 0, 0},
          {"SCORE", "SCORE", "", 0, kDescendingTag}};
}

// A session and at most one open table in it; closes both.
class TestSession {
 public:
  TestSession() : session_(code4initVB()) { EXPECT_GT(session_, 0); }
  ~TestSession() {
    if (session_ != 0) code4initUndo(session_);
  }
  TestSession(const TestSession&) = delete;
  TestSession& operator=(const TestSession&) = delete;

  Handle session() const { return session_; }
  Handle table() const { return table_; }

  // Takes the pending error, for messages of assertions too.
  std::string Error() {
    const std::int32_t code = code4errorCode(session_, 0);
    const char* text = error4text(session_, code);
    return std::to_string(code) + " " + (text == nullptr ? "(no text)" : text);
  }

  bool Create(const std::string& path, const std::vector<FieldRecord>& fields = PeopleFields(),
              const std::vector<TagRecord>& tags = PeopleTags()) {
    table_ = d4create(session_, path, fields, tags);
    return table_ != 0;
  }
  bool Open(const std::string& path, std::int32_t mode = 0) {
    code4accessMode(session_, mode);
    table_ = d4open(session_, path);
    return table_ != 0;
  }
  std::int32_t Close() { return d4close(std::exchange(table_, 0)); }

  Handle Field(const char* name) const { return d4field(table_, name); }

  void Assign(const Person& p) {
    f4assignCharVB(Field("EMAIL"), p.email);
    f4assignCharVB(Field("FIRST"), p.first);
    f4assignDouble(Field("SCORE"), p.score);
    f4memoAssign(Field("NOTE"), p.note);
  }
  std::int32_t Append(const Person& p) {
    d4appendStart(table_, 0);
    Assign(p);
    return d4append(table_);
  }
  // Finds a person by address in tag EMAIL; 0 when found.
  std::int32_t Find(const std::string& email) {
    d4tagSelect(table_, d4tag(table_, "EMAIL"));
    return d4seek(table_, email);
  }
  std::int32_t Update(const std::string& email, const Person& p) {
    if (const std::int32_t code = Find(email); code != kSuccess) return code;
    Assign(p);
    return d4writeVB(table_, d4recNoLow(table_));
  }
  std::int32_t Delete(const std::string& email) {
    if (const std::int32_t code = Find(email); code != kSuccess) return code;
    return d4delete(table_);
  }
  Person Current() {
    Person p;
    p.email = Trimmed(f4ptr(Field("EMAIL")), f4len_v(Field("EMAIL")));
    p.first = Trimmed(f4ptr(Field("FIRST")), f4len_v(Field("FIRST")));
    p.score = f4double(Field("SCORE"));
    if (const auto* memo = f4memoPtr(Field("NOTE"))) {
      p.note.assign(reinterpret_cast<const char*>(memo),
                    static_cast<std::size_t>(f4memoLen(Field("NOTE"))));
    }
    return p;
  }
  // Walks in the order of a tag ("" for natural order) and returns the live records.
  std::vector<Person> Walk(const std::string& tag = "") {
    std::vector<Person> people;
    d4tagSelect(table_, tag.empty() ? 0 : d4tag(table_, tag));
    std::int32_t code = d4top(table_);
    for (; code == kSuccess; code = d4skip(table_, 1)) {
      if (d4deleted(table_) == 0) people.push_back(Current());
    }
    EXPECT_EQ(code, kEndOfFile) << Error();
    return people;
  }
  std::vector<std::string> Emails(const std::string& tag = "") {
    std::vector<std::string> out;
    for (const Person& p : Walk(tag)) out.push_back(p.email);
    return out;
  }
  // The live records by address.
  std::map<std::string, Person> ByEmail() {
    std::map<std::string, Person> out;
    for (const Person& p : Walk()) EXPECT_TRUE(out.emplace(p.email, p).second) << p.email;
    return out;
  }
  std::string CheckFindings() {
    std::string all;
    for (const std::string& f : d4check(table_).findings) all += f + "\n";
    return all;
  }

 private:
  Handle session_;
  Handle table_ = 0;
};

class EngineTest : public ::testing::Test {
 protected:
  EngineTest() : scope_(memory_.system()) { EXPECT_TRUE(files().CreateFolders("/data").ok()); }

  platform::MemoryFileSystem& files() { return memory_.files; }
  static constexpr const char* kPath = "/data/people.pvg";

  platform::MemorySystem memory_;
  platform::ScopedSystem scope_;
};

}  // namespace pv::engine

#endif  // PV_TABLESTORE_ENGINE_ENGINE_TEST_SUPPORT_H_
