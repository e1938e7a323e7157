// Spells column headings as field names. Tested by field_names_test.cc.
#include "cli/fields/field_names.h"

#include <algorithm>
#include <array>

#include "base/text.h"

namespace pv::cli {
namespace {

struct Spelling {
  std::u32string_view letters;  // lower case
  const char* latin;
};

// Letters whose spelling is more than the letter without its marks, and those of other scripts.
constexpr Spelling kSpellings[] = {
    {U"\u00E4\u00E6", "AE"},
    {U"\u00F6\u0153", "OE"},
    {U"\u00FC", "UE"},
    {U"\u00DF\u1E9E", "SS"},
    {U"\u00E5", "AA"},
    {U"\u00FE", "TH"},
    {U"\u00E0\u00E1\u00E2\u00E3\u0101\u0103\u0105\u03B1\u03AC\u0430", "A"},
    {U"\u03B2\u0432", "V"},
    {U"\u0431", "B"},
    {U"\u00E7\u0107\u0109\u010B\u010D", "C"},
    {U"\u00F0\u010F\u0111\u03B4\u0434", "D"},
    {U"\u00E8\u00E9\u00EA\u00EB\u0113\u0115\u0117\u0119\u011B\u03B5\u03AD\u0435\u0451\u044D\u0454",
     "E"},
    {U"\u03C6\u0444", "F"},
    {U"\u011D\u011F\u0121\u0123\u03B3\u0433\u0491", "G"},
    {U"\u0125\u0127", "H"},
    {U"\u00EC\u00ED\u00EE\u00EF\u0129\u012B\u012D\u012F\u0131\u03B9\u03AF\u03B7\u03AE\u0438\u0456"
     U"\u0457",
     "I"},
    {U"\u0135\u0439", "J"},
    {U"\u0137\u03BA\u043A", "K"},
    {U"\u013A\u013C\u013E\u0140\u0142\u03BB\u043B", "L"},
    {U"\u03BC\u043C", "M"},
    {U"\u00F1\u0144\u0146\u0148\u03BD\u043D", "N"},
    {U"\u00F2\u00F3\u00F4\u00F5\u00F8\u014D\u014F\u0151\u03BF\u03CC\u03C9\u03CE\u043E", "O"},
    {U"\u03C0\u043F", "P"},
    {U"\u0155\u0157\u0159\u03C1\u0440", "R"},
    {U"\u015B\u015D\u015F\u0161\u0219\u03C3\u03C2\u0441", "S"},
    {U"\u0163\u0165\u0167\u021B\u03C4\u0442", "T"},
    {U"\u00F9\u00FA\u00FB\u0169\u016B\u016D\u016F\u0171\u0173\u0443", "U"},
    {U"\u0175", "W"},
    {U"\u00FD\u00FF\u0177\u03C5\u03CD\u044B", "Y"},
    {U"\u017A\u017C\u017E\u03B6\u0437", "Z"},
    {U"\u03B8", "TH"},
    {U"\u03BE", "X"},
    {U"\u03C7\u0445", "CH"},
    {U"\u03C8", "PS"},
    {U"\u0436", "ZH"},
    {U"\u0446", "TS"},
    {U"\u0447", "CH"},
    {U"\u0448", "SH"},
    {U"\u0449", "SCH"},
    {U"\u044E", "YU"},
    {U"\u044F", "YA"},
    {U"\u044A\u044C", ""},
};

bool IsWordChar(char c) { return (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9'); }

// The heading in capital Latin letters and digits; every other character becomes "_".
std::string Spelled(std::string_view heading) {
  std::string out;
  for (std::size_t pos = 0; pos < heading.size();) {
    const char32_t c = ToLower(DecodeUtf8(heading, &pos));
    if (c < 0x80) {
      const char upper = static_cast<char>(ToUpper(c));
      out.push_back(IsWordChar(upper) ? upper : '_');
      continue;
    }
    const auto* found =
        std::find_if(std::begin(kSpellings), std::end(kSpellings),
                     [c](const Spelling& s) { return s.letters.find(c) != s.letters.npos; });
    out += found != std::end(kSpellings) ? found->latin : "_";
  }
  return out;
}

bool Contains(const std::vector<std::string>& names, const std::string& name) {
  return std::any_of(names.begin(), names.end(),
                     [&](const std::string& n) { return EqualsIgnoreCase(n, name); });
}

constexpr std::string_view kCertainAddress[] = {
    "email",
    "emailaddress",
    "emailadress",
    "emailadresse",
    "emailadres",
    "emails",
    "email1",
    "primaryemail",
    "emailprimary",
    "eaddress",
    "mailaddress",
    "mailadresse",
    "emailaddr",
    "smtpaddress",
    "adresseemail",
    "adressemail",
    "adresseelectronique",
    "courriel",
    "courrier",
    "correo",
    "correoelectronico",
    "direccionemail",
    "emaildirection",
    "indirizzoemail",
    "postaelettronica",
    "enderecoemail",
    "enderecodeemail",
    "epost",
    "epostadress",
    "epostadresse",
    "eposta",
    "sahkoposti",
    "saehkoeposti",
    "shkoposti",
    "adresemail",
    "adresaemail",
    "emailadresa",
    "elektronnajapochta",
    "elektronnayapochta",
    "elpochta",
    "recipient",
    "empfaenger",
};
constexpr std::string_view kLikelyAddress[] = {
    "mail",   "address", "adresse", "adress",  "adres", "to",       "an",    "smtp",
    "pochta", "posta",   "kontakt", "contact", "user",  "username", "login",
};
constexpr std::string_view kCodeWords[] = {
    "zip",           "zipcode",     "plz",        "postleitzahl", "postal",
    "postalcode",    "postcode",    "codepostal", "cap",          "cp",
    "phone",         "phonenumber", "telephone",  "telefon",      "tel",
    "telefonnummer", "fax",         "mobile",     "mobil",        "handy",
    "cell",          "cellphone",   "telefono",   "portable",     "gsm",
};

template <std::size_t n>
bool IsOneOf(const std::string_view (&words)[n], const std::string& word) {
  return std::find(std::begin(words), std::end(words), word) != std::end(words);
}

}  // namespace

std::string FieldNameOf(std::string_view heading) {
  std::string name;
  for (const char c : Spelled(heading)) {
    if (c == '_' && (name.empty() || name.back() == '_')) continue;
    name.push_back(c);
  }
  while (!name.empty() && name.back() == '_') name.pop_back();
  if (name.empty()) return name;
  if (name[0] >= '0' && name[0] <= '9') name.insert(0, "F");
  if (name.size() > kFieldNameLimit) name.resize(kFieldNameLimit);
  while (name.back() == '_') name.pop_back();
  return name;
}

std::vector<std::string> FieldNamesOf(const std::vector<std::string>& headings,
                                      const std::vector<std::string>& taken) {
  std::vector<std::string> used = taken;
  std::vector<std::string> names;
  for (std::size_t i = 0; i < headings.size(); ++i) {
    std::string name = FieldNameOf(headings[i]);
    if (name.empty()) name = "FIELD" + std::to_string(i + 1);
    const std::string stem = name;
    for (int n = 2; Contains(used, name); ++n) {
      const std::string number = std::to_string(n);
      name = stem.substr(0, kFieldNameLimit - number.size()) + number;
    }
    used.push_back(name);
    names.push_back(std::move(name));
  }
  return names;
}

std::string PlainWord(std::string_view heading) {
  std::string word;
  for (const char c : Spelled(heading)) {
    if (c != '_') word.push_back(static_cast<char>(ToLower(static_cast<char32_t>(c))));
  }
  return word;
}

bool IsAddressHeading(std::string_view heading, bool* certain) {
  const std::string word = PlainWord(heading);
  *certain = IsOneOf(kCertainAddress, word);
  return *certain || IsOneOf(kLikelyAddress, word);
}

bool IsCodeHeading(std::string_view heading) { return IsOneOf(kCodeWords, PlainWord(heading)); }

}  // namespace pv::cli
