// Address books through the converter: open, count, and a walk that reads name and address of every
// contact, against a plain read of the file's bytes from end to end in the same run.
//
//   bench_books [--repeat N] [--contacts N] [--format CODE]
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

#include "platform/system.h"
#include "platform/test_folder.h"
#include "providers/converter/automation/converter.h"
#include "pvgroupman/automation/call.h"

namespace {

using pv::automation::CallMember;
using pv::automation::GetDefault;
using pv::automation::GetProperty;
using pv::automation::Object;
using pv::automation::PutProperty;
using pv::automation::Ref;
using pv::automation::Value;

constexpr int kFew = 1'000;
constexpr std::int32_t kName = 0x3001001E;
constexpr std::int32_t kAddress = 0x3003001E;

double Now() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

// As a mail program exports it.
void WriteLdif(const std::string& path, int contacts) {
  std::ofstream out(path, std::ios::binary);
  for (int i = 0; i < contacts; ++i) {
    const std::string n = std::to_string(i);
    out << "dn: cn=Person Number " << n << ",mail=person" << n << "@example.org\n"
        << "objectclass: top\nobjectclass: person\nobjectclass: organizationalPerson\n"
        << "objectclass: inetOrgPerson\nobjectclass: mozillaAbPersonAlpha\n"
        << "givenName: Person\nsn: Number " << n << "\ncn: Person Number " << n << "\nmail: person"
        << n << "@example.org\nmodifytimestamp: 1237281794\ntelephoneNumber: +1 555 " << n
        << "\nmobile: +1 556 " << n << "\nstreet: " << n << " Long Street\nl: Town\n"
        << "postalCode: " << n << "\nc: Country\ntitle: Worker\no: Example Inc.\n"
        << "description:: Tm90ZXMgbGluZSAxCk5vdGVzIGxpbmUgMg==\n\n";
  }
}

// As a mail program keeps it: aliases for the values, empty cells written out.
void WriteMab(const std::string& path, int contacts) {
  std::ofstream out(path, std::ios::binary);
  out << "// <!-- <mdb:mork:z v=\"1.4\"/> -->\n< <(a=c)> // (f=iso-8859-1)\n"
         "  (80=ns:addrbk:db:row:scope:card:all)(81=ns:addrbk:db:row:scope:list:all)\n"
         "  (83=FirstName)(84=LastName)(87=DisplayName)(88=NickName)(89=PrimaryEmail)\n"
         "  (8A=LowercasePrimaryEmail)(8B=SecondEmail)(8C=PreferMailFormat)(8F=WorkPhone)\n"
         "  (90=HomePhone)(91=FaxNumber)(92=PagerNumber)(93=CellularNumber)(99=HomeAddress)\n"
         "  (9A=HomeAddress2)(9B=HomeCity)(9F=WorkAddress)(A1=WorkCity)(A5=JobTitle)\n"
         "  (A7=Company)(B7=Notes)(B8=LastModifiedDate)(B9=RecordKey)\n"
         "  (BC=ns:addrbk:db:table:kind:pab)>\n\n<";
  char line[400];
  for (int i = 0; i < contacts; ++i) {
    const int id = 0x80 + 5 * i;
    std::snprintf(line, sizeof line,
                  "(%X=Number %d)(%X=Person Number %d)(%X=person%d@example.org)\n"
                  "  (%X=+1 555 %d)(%X=%d Long Street)",
                  id, i, id + 1, i, id + 2, i, id + 3, i, id + 4, i);
    out << line;
  }
  out << ">\n{1:^80 {(k^BC:c)(s=9)} ";
  for (int i = 0; i < contacts; ++i) {
    const int id = 0x80 + 5 * i;
    std::snprintf(line, sizeof line,
                  "\n  [%X(^83=Person)(^84^%X)(^87^%X)(^88=)(^89^%X)(^8A^%X)(^8B=)(^8C=0)\n"
                  "    (^8F^%X)(^90=)(^91=)(^92=)(^93^%X)(^99=)(^9A=)(^9B=)(^9F^%X)(^A1=Town)\n"
                  "    (^A5=Worker)(^A7=Example)(^B7=)(^B8=1237281794)(^B9=%X)]",
                  i + 1, id, id + 1, id + 2, id + 2, id + 3, id + 3, id + 4, i + 1);
    out << line;
  }
  out << "}\n";
}

double ReadBytes(const std::string& path) {
  const double start = Now();
  pv::platform::OpenOptions options;
  options.read_only = true;
  const auto file = std::move(*pv::platform::CurrentSystem().files->Open(path, options));
  static std::vector<char> buffer(std::size_t{1} << 20);
  std::uint64_t offset = 0;
  while (true) {
    const std::size_t got = *file->Read(offset, buffer.data(), buffer.size());
    if (got == 0) break;
    offset += got;
  }
  return Now() - start;
}

double WalkBook(const char* format, const std::string& path, int contacts) {
  const double start = Now();
  const Ref<Object> converter = pv::automation::MakeObject<pv::converter::Converter>();
  PutProperty(converter, "Format", format);
  PutProperty(converter, "Location", path);
  const Ref<Object> book = GetProperty(converter, "Contacts").ToObject();
  const std::int32_t count = GetProperty(book, "Count").ToI4();
  std::size_t bytes = 0;
  for (std::int32_t id = 1; id <= count; ++id) {
    const Ref<Object> contact = CallMember(book, "GetContactFromID", {id}).ToObject();
    for (const std::int32_t property : {kName, kAddress}) {
      const Value value = CallMember(contact, "GetProperty", {property});
      if (const auto* const text = value.TryGet<std::string>()) bytes += text->size();
    }
  }
  const double time = Now() - start;
  if (count != contacts || bytes < static_cast<std::size_t>(contacts) * 30) {
    std::fprintf(stderr, "%s: %d contacts with %zu bytes were read\n", path.c_str(), count, bytes);
    std::exit(1);
  }
  return time;
}

void Measure(const char* format, void (*write)(const std::string&, int), double target,
             const std::string& folder, int repeat, int contacts) {
  const std::string many = folder + "/many";
  const std::string few = folder + "/few";
  write(many, contacts);
  write(few, kFew);
  double read = 1e9;
  double walk = 1e9;
  double walk_few = 1e9;
  // The best of several, taken in turns, so that a busy moment strikes all alike.
  for (int i = 0; i < repeat; ++i) {
    read = std::min(read, ReadBytes(many));
    walk = std::min(walk, WalkBook(format, many, contacts));
    double together = 0;  // of as many contacts as the large book has
    for (int k = 0; k < contacts / kFew; ++k) together += WalkBook(format, few, kFew);
    walk_few = std::min(walk_few, together / (contacts / kFew));
  }
  const auto size = static_cast<double>(std::filesystem::file_size(many));
  const double growth = (walk / contacts) / (walk_few / kFew);
  std::printf(
      "%-5s %5.1f MB  read %6.2f ms (%5.0f MB/s)  ours %7.1f ms (%4.0f MB/s)  ratio %5.1f "
      "(%.0f)%s  a contact %.2f us, against %.2f us of %d: %.2f (1.5)%s\n",
      format, size / 1e6, read * 1e3, size / 1e6 / read, walk * 1e3, size / 1e6 / walk, walk / read,
      target, walk / read <= target ? "" : " MISSED", walk / contacts * 1e6, walk_few / kFew * 1e6,
      kFew, growth, growth <= 1.5 ? "" : " MISSED");
}

}  // namespace

int main(int argc, char** argv) {
  int repeat = 5;
  int contacts = 100'000;
  std::string_view only;
  for (int i = 1; i + 1 < argc; i += 2) {
    const std::string_view option = argv[i];
    if (option == "--repeat") repeat = std::max(1, std::atoi(argv[i + 1]));
    if (option == "--contacts") contacts = std::max(kFew, std::atoi(argv[i + 1]));
    if (option == "--format") only = argv[i + 1];
  }
  const pv::platform::TestFolder folder;
  std::printf(
      "%d contacts: open, count, and a walk that reads name and address; a plain read of "
      "the bytes\n",
      contacts);
  if (only.empty() || only == "LDIF")
    Measure("LDIF", &WriteLdif, 20, folder.path(), repeat, contacts);
  if (only.empty() || only == "MAB") Measure("MAB", &WriteMab, 40, folder.path(), repeat, contacts);
  return 0;
}
