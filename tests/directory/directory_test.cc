// People and groups of a real directory server. Run by run_directory.py, which starts one.
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <string>

#include "base/instrumented_test.h"
#include "providers/converter/book_fixture_test.h"

namespace pv::converter {
namespace {

using Texts = std::vector<std::string>;

class DirectoryTest : public testing::Test {
 protected:
  void SetUp() override {
    const char* const place = std::getenv("PV_DIRECTORY");
    if (place == nullptr) GTEST_SKIP() << "PV_DIRECTORY names no server; see run_directory.py";
    place_ = place;
    people_ = static_cast<std::uint32_t>(std::atoi(std::getenv("PV_DIRECTORY_PEOPLE")));
  }

  // The URL with what follows the base: "?attributes?scope?filter?extensions".
  std::string Url(const std::string& more) const { return "ldap://" + place_ + more; }

  static std::unique_ptr<Roster> Open(const std::string& url, const Access& access = {}) {
    auto book = FindFormat("GAL")->open(url, access);
    EXPECT_TRUE(book.ok()) << book.status().message();
    if (!book.ok()) return nullptr;
    auto roster = Roster::Make(std::move(*book));
    EXPECT_TRUE(roster.ok()) << roster.status().message();
    return std::move(*roster);
  }

  static Status Failure(const std::string& url, const Access& access = {}) {
    return FindFormat("GAL")->open(url, access).status();
  }

  std::string place_;
  std::uint32_t people_ = 0;
};

constexpr const char* kPlain = "????x-tls=off";

long StatusKilobytes(const std::string& name) {
  std::ifstream status("/proc/self/status");
  for (std::string word; status >> word;) {
    long value = 0;
    if (word == name && status >> value) return value;
  }
  return 0;
}

// What this process has had at most since it was last asked; 0 where the system does not say.
long PeakKilobytes() {
  const long peak = StatusKilobytes("VmHWM:");
  std::ofstream("/proc/self/clear_refs") << 5;
  return peak;
}

// However many people there are, a page of them is held, and where each of them is. The first test:
// no other has left memory behind.
TEST_F(DirectoryTest, MemoryDoesNotGrowWithTheDirectory) {
  if (kInstrumented) GTEST_SKIP() << "the sanitizer holds memory of its own";
  const auto peak_of = [&](const std::string& filter) {
    PeakKilobytes();
    const long before = StatusKilobytes("VmRSS:");
    const auto roster = Open(Url("???" + filter + "?x-tls=off"));
    Contact contact;
    for (std::uint32_t i = 0; i < roster->count(); ++i) {
      EXPECT_TRUE(roster->Read(i, &contact).ok());
    }
    return std::pair{roster->count(), PeakKilobytes() - before};
  };
  const auto [few, few_peak] = peak_of("(uid=u1*0)");
  const auto [all, all_peak] = peak_of("(objectClass=inetOrgPerson)");
  EXPECT_GT(few, 1'000U);
  EXPECT_EQ(all, people_);
  EXPECT_LT(all_peak, few_peak + 4'000) << few_peak;
  RecordProperty("few_kilobytes", static_cast<int>(few_peak));
  RecordProperty("all_kilobytes", static_cast<int>(all_peak));
}

TEST_F(DirectoryTest, EverybodyIsReadPageByPage) {
  const auto roster = Open(Url(kPlain));
  ASSERT_NE(roster, nullptr);
  EXPECT_EQ(roster->own_count(), people_);
  Contact contact;
  for (std::uint32_t i = 0; i < roster->own_count(); ++i) {
    ASSERT_TRUE(roster->Read(i, &contact).ok());
    const std::string number = std::to_string(i);
    ASSERT_EQ(contact.Text(kDisplayName), "Shown " + number);
    ASSERT_EQ(contact.Text(kEmail), "u" + number + "@example.org");
    ASSERT_EQ(contact.Text(kGivenName), "Pérsön");
    ASSERT_FALSE(contact.Has(kBusinessPhone));  // nobody may see it
  }
}

TEST_F(DirectoryTest, GroupsAreLists) {
  const auto roster = Open(Url(kPlain));
  ASSERT_EQ(roster->lists().size(), 3U);
  const auto tenth = MembersOf(roster.get(), "Tenth");
  EXPECT_EQ(tenth.size(), (people_ + 9) / 10);
  EXPECT_EQ(tenth[1], "u10@example.org");
  // Themselves and lists inside lists are followed once; who is not there is known by name.
  EXPECT_EQ(MembersOf(roster.get(), "Ring").size(), tenth.size() + 1);
  EXPECT_EQ(ReadContact(roster.get(), people_).Text(kDisplayName), "Gone");
  EXPECT_EQ(MembersOf(roster.get(), "Boss, The"), Texts{"u1@example.org"});
}

TEST_F(DirectoryTest, ScopeAndFilterAreTheUrls) {
  EXPECT_EQ(Everybody(Open(Url("?"
                               "?"
                               "?"
                               "(uid=u7)?x-tls=off"))
                          .get()),
            Texts{"u7@example.org"});
  EXPECT_EQ(Open(Url("??one?"
                     "(uid=u7)?x-tls=off"))
                ->count(),
            0U);
}

TEST_F(DirectoryTest, WhoAsksWithAPasswordSeesMore) {
  const std::string url =
      Url("?"
          "?"
          "?"
          "(uid=u7)?x-tls=off,bindname=cn=admin%2Cdc=example%2Cdc=org");
  Access access;
  access.password = "secret";
  const auto roster = Open(url, access);
  EXPECT_EQ(ReadContact(roster.get(), 0).Text(kBusinessPhone), "7");
  ::setenv("PVGROUP_LDAP_PASSWORD", "secret", 1);
  EXPECT_EQ(ReadContact(Open(url).get(), 0).Text(kBusinessPhone), "7");
  ::unsetenv("PVGROUP_LDAP_PASSWORD");
  const Status none = Failure(url);
  EXPECT_EQ(none.code(), StatusCode::kDenied);
  EXPECT_NE(none.message().find("PVGROUP_LDAP_PASSWORD"), std::string::npos) << none.message();
  access.password = "wrong";
  EXPECT_EQ(Failure(url, access).code(), StatusCode::kDenied);
}

TEST_F(DirectoryTest, WithoutTlsNothingIsReadUnlessTheUrlSaysSo) {
  // Nobody has vouched for the server's certificate here.
  const Status status = Failure(Url(""));
  EXPECT_FALSE(status.ok());
  EXPECT_NE(status.message().find("cannot begin TLS"), std::string::npos) << status.message();
}

TEST_F(DirectoryTest, TrustedServersAreReadWithTls) {
  EXPECT_EQ(Open(Url(""))->own_count(), people_);
}

TEST_F(DirectoryTest, ErrorsNameTheUrl) {
  for (const std::string& url : {std::string("/home/book"), std::string("http://localhost/"),
                                 "ldap://" + place_ + "????x-odd=1", std::string("ldapi:///")}) {
    const Status status = Failure(url);
    EXPECT_EQ(status.code(), StatusCode::kInvalid) << url;
    EXPECT_TRUE(status.message().starts_with(url)) << status.message();
  }
  EXPECT_EQ(Failure("ldap://localhost:1/dc=x????x-tls=off").code(), StatusCode::kIoError);
  EXPECT_EQ(
      Failure("ldap://" + place_.substr(0, place_.find('/')) + "/dc=none????x-tls=off").code(),
      StatusCode::kNotFound);
  Access access;
  access.password = "secret";
  const Status sent = Failure("ldap://192.0.2.1/dc=x????x-tls=off,bindname=cn=a", access);
  EXPECT_EQ(sent.code(), StatusCode::kDenied) << sent.message();
}

// A directory that sends large groups in parts; see ranged_server.py.
class RangedDirectoryTest : public testing::Test {
 protected:
  void SetUp() override {
    const char* const place = std::getenv("PV_RANGED");
    if (place == nullptr) GTEST_SKIP() << "PV_RANGED names no server; see run_directory.py";
    place_ = place;
  }
  std::string place_;
};

TEST_F(RangedDirectoryTest, AllPartsOfALargeGroupAreRead) {
  auto book = FindFormat("GAL")->open("ldap://" + place_ + "/dc=large????x-tls=off", {});
  ASSERT_TRUE(book.ok()) << book.status().message();
  const auto roster = Roster::Make(std::move(*book));
  ASSERT_TRUE(roster.ok());
  ASSERT_EQ((*roster)->lists().size(), 1U);
  EXPECT_EQ((*roster)->lists()[0].description, "behind the members");
  const auto members = MembersOf(roster->get(), "Large");
  const auto count = static_cast<std::size_t>(std::atoi(std::getenv("PV_RANGED_MEMBERS")));
  ASSERT_EQ(members.size(), count);
  // The one who has a contact is first; the others follow in the order of the group.
  EXPECT_EQ(members[0], "m7@example.org");
  EXPECT_EQ(members[1], "m0@example.org");
  EXPECT_EQ(members.back(), "m" + std::to_string(count - 1) + "@example.org");
}

TEST_F(RangedDirectoryTest, AServerThatSendsTheSamePartForeverIsAnError) {
  const auto book = FindFormat("GAL")->open("ldap://" + place_ + "/dc=stuck????x-tls=off", {});
  ASSERT_FALSE(book.ok());
  EXPECT_NE(book.status().message().find(
                "the directory does not send the values of member from number 1500 on"),
            std::string::npos)
      << book.status().message();
}

}  // namespace
}  // namespace pv::converter
