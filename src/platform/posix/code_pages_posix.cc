// Builds code page tables by converting every byte and pair of bytes once. Tested by
// code_pages_test.cc.
#include "platform/posix/code_pages_posix.h"

#include <iconv.h>

#include <cerrno>
#include <string>
#include <utility>

#include "base/bytes.h"

namespace pv::platform {
namespace {

constexpr int kKnownPages[] = {437, 737, 850,  852,  857,  861,  865,  866,  874,  932, 936,
                               949, 950, 1250, 1251, 1253, 1254, 1255, 1256, 1257, 1258};

// Further pages that mail and other programs' files name, under the C library's names.
struct NamedPage {
  int number;
  const char* name;
};
constexpr NamedPage kNamedPages[] = {
    {10000, "MACINTOSH"},  {20866, "KOI8-R"},     {21866, "KOI8-U"},     {28592, "ISO-8859-2"},
    {28595, "ISO-8859-5"}, {28597, "ISO-8859-7"}, {28599, "ISO-8859-9"}, {28605, "ISO-8859-15"},
};

// The C library's name of a page; "" when the page is not known.
std::string ConverterName(int page) {
  for (const NamedPage& named : kNamedPages) {
    if (named.number == page) return named.name;
  }
  for (const int known : kKnownPages) {
    if (known == page) return (page == 874 ? "WINDOWS-" : "CP") + std::to_string(page);
  }
  return {};
}

// Bytes to which the published tables give no character, but Windows does, so that every byte
// survives a round trip. The bytes 80 to 9F of the pages from 1250 on and of 874 are not listed:
// they map to the control characters of the same value.
struct Gap {
  int page;
  unsigned char first;
  unsigned char last;
  char16_t character;  // of `first`; the others follow
};
constexpr Gap kGaps[] = {
    {857, 0xD5, 0xD5, 0xF8BB},  {857, 0xE7, 0xE7, 0xF8BC},  {857, 0xF2, 0xF2, 0xF8BD},
    {874, 0xDB, 0xDE, 0xF8C1},  {874, 0xFC, 0xFF, 0xF8C5},  {932, 0x80, 0x80, 0x0080},
    {932, 0xA0, 0xA0, 0xF8F0},  {932, 0xFD, 0xFF, 0xF8F1},  {936, 0xFF, 0xFF, 0xF8F5},
    {949, 0x80, 0x80, 0x0080},  {949, 0xFF, 0xFF, 0xF8F7},  {950, 0x80, 0x80, 0x0080},
    {950, 0xFF, 0xFF, 0xF8F8},  {1253, 0xAA, 0xAA, 0xF8F9}, {1253, 0xD2, 0xD2, 0xF8FA},
    {1253, 0xFF, 0xFF, 0xF8FB}, {1255, 0xCA, 0xCA, 0x05BA}, {1255, 0xD9, 0xDF, 0xF88D},
    {1255, 0xFB, 0xFC, 0xF894}, {1255, 0xFF, 0xFF, 0xF896}, {1257, 0xA1, 0xA1, 0xF8FC},
    {1257, 0xA5, 0xA5, 0xF8FD},
};

// Pairs for characters that a user defines; they follow each other through the private-use area,
// pair after pair with second bytes from `low` on (never 7F).
struct UserDefined {
  int page;
  unsigned char first_lead;
  unsigned char last_lead;
  unsigned char low;
  unsigned char high;
  char16_t character;
};
constexpr UserDefined kUserDefined[] = {
    {936, 0xAA, 0xAF, 0xA1, 0xFE, 0xE000}, {936, 0xF8, 0xFE, 0xA1, 0xFE, 0xE234},
    {936, 0xA1, 0xA7, 0x40, 0xA0, 0xE4C6}, {949, 0xC9, 0xC9, 0xA1, 0xFE, 0xE000},
    {949, 0xFE, 0xFE, 0xA1, 0xFE, 0xE05E}, {950, 0xFA, 0xFE, 0x40, 0xFE, 0xE000},
    {950, 0x8E, 0xA0, 0x40, 0xFE, 0xE311}, {950, 0x81, 0x8D, 0x40, 0xFE, 0xEEB8},
};

class Converter {
 public:
  explicit Converter(const std::string& name) : handle_(::iconv_open("UTF-32LE", name.c_str())) {}
  ~Converter() {
    if (ok()) ::iconv_close(handle_);
  }
  Converter(const Converter&) = delete;
  Converter& operator=(const Converter&) = delete;

  bool ok() const { return handle_ != reinterpret_cast<iconv_t>(-1); }

  // The one character of the bytes, CodePage::kUndefined, or kLeadByte when they are a beginning.
  char32_t Convert(char* bytes, std::size_t size) {
    ::iconv(handle_, nullptr, nullptr, nullptr, nullptr);
    char out[16];
    char* to = out;
    std::size_t room = sizeof out;
    const std::size_t result = ::iconv(handle_, &bytes, &size, &to, &room);
    if (result == static_cast<std::size_t>(-1)) {
      return errno == EINVAL ? CodePage::kLeadByte : CodePage::kUndefined;
    }
    // Pages with combining marks hold a letter back until they see what follows.
    ::iconv(handle_, nullptr, nullptr, &to, &room);
    if (result != 0 || size != 0 || sizeof out - room != 4) return CodePage::kUndefined;
    return LoadLe32(out);
  }

 private:
  iconv_t handle_;
};

void FillGaps(int page, std::array<char32_t, 256>* single) {
  for (std::size_t b = 0x80; b < 0xA0; ++b) {
    const bool controls = page == 874 || page >= 1250;
    if (controls && (*single)[b] == CodePage::kUndefined) (*single)[b] = static_cast<char32_t>(b);
  }
  for (const Gap& gap : kGaps) {
    if (gap.page != page) continue;
    for (unsigned b = gap.first; b <= gap.last; ++b) {
      if ((*single)[b] == CodePage::kUndefined) (*single)[b] = gap.character + (b - gap.first);
    }
  }
}

}  // namespace

Result<std::shared_ptr<const CodePage>> PosixCodePages::Load(int number) {
  if (number == 1252) return CodePage::Windows1252();
  const std::lock_guard<std::mutex> guard(mutex_);
  if (const auto it = loaded_.find(number); it != loaded_.end()) return it->second;
  const std::string name = ConverterName(number);
  if (name.empty()) {
    return Status::Unsupported("code page " + std::to_string(number) + " is not known");
  }
  Converter converter(name);
  if (!converter.ok()) {
    return Status::Unsupported("the system has no converter for code page " +
                               std::to_string(number));
  }

  std::array<char32_t, 256> single;
  std::unordered_map<std::uint16_t, char32_t> pairs;
  for (unsigned b = 0; b < 256; ++b) {
    char bytes[2] = {static_cast<char>(b), 0};
    single[b] = b < 0x80 ? b : converter.Convert(bytes, 1);
    if (single[b] != CodePage::kLeadByte) continue;
    bool any = false;
    for (unsigned second = 0x40; second < 0xFF; ++second) {
      bytes[1] = static_cast<char>(second);
      const char32_t c = converter.Convert(bytes, 2);
      if (c >= CodePage::kLeadByte) continue;
      pairs.emplace(static_cast<std::uint16_t>(b << 8 | second), c);
      any = true;
    }
    if (!any) single[b] = CodePage::kUndefined;
  }
  for (const UserDefined& range : kUserDefined) {
    if (range.page != number) continue;
    char32_t c = range.character;
    for (unsigned lead = range.first_lead; lead <= range.last_lead; ++lead) {
      single[lead] = CodePage::kLeadByte;
      for (unsigned second = range.low; second <= range.high; ++second) {
        // Between the two ranges of second bytes that a page has there is nothing.
        if (second == 0x7F || (number == 950 && second > 0x7F && second < 0xA1)) continue;
        pairs.emplace(static_cast<std::uint16_t>(lead << 8 | second), c++);
      }
    }
  }
  FillGaps(number, &single);
  auto page = std::make_shared<const CodePage>(number, single, std::move(pairs));
  loaded_[number] = page;
  return std::shared_ptr<const CodePage>(std::move(page));
}

}  // namespace pv::platform
