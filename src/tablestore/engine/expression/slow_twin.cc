// The slow evaluator and the maker of random trees. Used by expression_twin_test.cc.
#include "tablestore/engine/expression/slow_twin.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>

#include "base/text.h"

namespace pv::engine::expr {
namespace {

using Children = std::vector<std::unique_ptr<TwinNode>>;

// --- Dates, through the standard calendar.

constexpr std::int32_t kUnixJulian = 2'440'588;  // 1970-01-01

std::optional<std::chrono::year_month_day> Calendar(double julian) {
  if (julian < 1'721'426 || julian > 5'373'484) return std::nullopt;
  return std::chrono::sys_days(std::chrono::days(static_cast<std::int32_t>(julian) - kUnixJulian));
}

double Julian(int year, int month, int day) {
  const std::chrono::year_month_day date{std::chrono::year(year),
                                         std::chrono::month(static_cast<unsigned>(month)),
                                         std::chrono::day(static_cast<unsigned>(day))};
  if (year < 1 || year > 9999 || !date.ok()) return 0;
  return static_cast<double>(std::chrono::sys_days(date).time_since_epoch().count() + kUnixJulian);
}

std::string DateText(double julian, const char* format, const char* empty) {
  const auto date = Calendar(julian);
  if (!date) return empty;
  char text[40];
  const int y = int(date->year());
  const int m = static_cast<int>(unsigned(date->month()));
  const int d = static_cast<int>(unsigned(date->day()));
  if (std::string(format) == "ymd") {
    std::snprintf(text, sizeof text, "%04d%02d%02d", y, m, d);
  } else {
    std::snprintf(text, sizeof text, "%02d/%02d/%04d", m, d, y);
  }
  return text;
}

bool AllDigits(const std::string& text) {
  return !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
}

double ReadDigits(const std::string& text) {
  if (text.size() != 8 || !AllDigits(text)) return 0;
  return Julian(std::stoi(text.substr(0, 4)), std::stoi(text.substr(4, 2)),
                std::stoi(text.substr(6)));
}

std::string Trim(std::string text, bool left, bool right) {
  while (right && !text.empty() && text.back() == ' ') text.pop_back();
  while (left && !text.empty() && text.front() == ' ') text.erase(0, 1);
  return text;
}

double ReadDateText(std::string text) {
  text = Trim(text, true, true);
  std::vector<std::string> parts(1);
  const bool year_first = !text.empty() && text[0] == '^';
  for (const char c : text.substr(year_first ? 1 : 0)) {
    if (c == '/' || c == '-' || c == '.') {
      parts.emplace_back();
    } else {
      parts.back() += c;
    }
  }
  if (parts.size() != 3) return 0;
  for (const std::string& part : parts) {
    if (!AllDigits(part)) return 0;
  }
  if (year_first) parts = {parts[1], parts[2], parts[0]};
  if (parts[0].size() > 2 || parts[1].size() > 2 || parts[2].size() != 4) return 0;
  return Julian(std::stoi(parts[2]), std::stoi(parts[0]), std::stoi(parts[1]));
}

// --- Numbers as text, by strings of digits.

double ReadNumber(const std::string& text) {
  std::size_t i = text.find_first_not_of(' ');
  if (i == std::string::npos) return 0;
  std::string number;
  if (text[i] == '-' || text[i] == '+') number += text[i++];
  bool digits = false;
  bool point = false;
  for (; i < text.size(); ++i) {
    if (text[i] >= '0' && text[i] <= '9') {
      digits = true;
    } else if (text[i] == '.' && !point) {
      point = true;
    } else {
      break;
    }
    number += text[i];
  }
  if (!digits) return 0;
  if (i < text.size() && (text[i] == 'e' || text[i] == 'E')) {
    std::string exponent = "e";
    std::size_t k = i + 1;
    if (k < text.size() && (text[k] == '-' || text[k] == '+')) exponent += text[k++];
    const std::size_t first = k;
    while (k < text.size() && text[k] >= '0' && text[k] <= '9') exponent += text[k++];
    if (k > first) number += exponent;
  }
  return std::strtod(number.c_str(), nullptr);
}

// The shortest digits that name `value`, written out in full: "0012.50" or "5".
std::string Plain(double value) {
  char text[64];
  for (int digits = 0; digits < 18; ++digits) {
    std::snprintf(text, sizeof text, "%.*e", digits, std::fabs(value));
    if (std::strtod(text, nullptr) == std::fabs(value)) break;
  }
  std::string digits;
  const char* p = text;
  for (; *p != 'e'; ++p) {
    if (*p != '.') digits += *p;
  }
  const int exponent = std::atoi(p + 1);
  if (exponent < 0)
    return "0." + std::string(static_cast<std::size_t>(-exponent - 1), '0') + digits;
  while (static_cast<int>(digits.size()) < exponent + 1) digits += '0';
  digits.insert(static_cast<std::size_t>(exponent) + 1, ".");
  return digits;
}

// Rounds a plain number to so many decimals (before the point when negative), halves up.
std::string RoundPlain(std::string plain, int decimals) {
  std::size_t point = plain.find('.');
  std::string whole = plain.substr(0, point);
  std::string part = point == std::string::npos ? "" : plain.substr(point + 1);
  while (static_cast<int>(part.size()) <= decimals) part += '0';
  std::string digits = whole + part;
  const int kept = static_cast<int>(whole.size()) + decimals;
  if (kept < 0) return "0";
  const bool up =
      kept < static_cast<int>(digits.size()) && digits[static_cast<std::size_t>(kept)] >= '5';
  digits.resize(static_cast<std::size_t>(kept));
  if (up) {
    std::size_t i = digits.size();
    while (i > 0 && digits[i - 1] == '9') digits[--i] = '0';
    if (i > 0) {
      ++digits[i - 1];
    } else {
      digits.insert(0, "1");
    }
  }
  if (decimals <= 0) {
    digits += std::string(static_cast<std::size_t>(-decimals), '0');
  } else {
    while (static_cast<int>(digits.size()) <= decimals) digits.insert(0, "0");
    digits.insert(digits.size() - static_cast<std::size_t>(decimals), ".");
  }
  const std::size_t first = digits.find_first_not_of('0');
  if (first == std::string::npos) return "0";
  digits.erase(0, first);
  return digits[0] == '.' ? "0" + digits : digits;
}

std::string Str(double value, std::size_t size, int decimals) {
  decimals = std::clamp(decimals, 0, static_cast<int>(size));
  for (; decimals >= 0; --decimals) {
    std::string text = RoundPlain(Plain(value), decimals);
    if (value < 0 && text.find_first_of("123456789") != std::string::npos) text.insert(0, "-");
    if (text.size() <= size) return std::string(size - text.size(), ' ') + text;
  }
  return std::string(size, '*');
}

double Round(double value, int decimals) {
  const double rounded = std::strtod(RoundPlain(Plain(value), decimals).c_str(), nullptr);
  return value < 0 ? 0 - rounded : rounded;
}

// --- Letter case, by way of UTF-8 and one character at a time.

std::string ChangeCase(const std::string& bytes, bool upper) {
  static const auto* const maps = [] {
    auto* made = new std::string[2];
    const auto page = CodePage::Windows1252();
    for (int b = 0; b < 256; ++b) {
      const std::string byte(1, static_cast<char>(b));
      for (const bool up : {false, true}) {
        const std::string decoded = page->Decode(byte);
        const std::string changed = up ? ToUpper(decoded) : ToLower(decoded);
        const std::string encoded = page->Encode(changed);
        const bool fits = page->CanEncode(changed) && encoded.size() == 1;
        made[up ? 1 : 0] += fits ? encoded : byte;
      }
    }
    return made;
  }();
  std::string out;
  for (const char c : bytes) out += maps[upper ? 1 : 0][static_cast<unsigned char>(c)];
  return out;
}

// --- Values.

TwinValue Null(char type) {
  TwinValue v;
  v.type = type;
  v.null = true;
  return v;
}
TwinValue Number(double number, char type = 'N') {
  if (!std::isfinite(number)) return Null(type);
  TwinValue v;
  v.type = type;
  v.number = number;
  return v;
}
TwinValue Truth(bool truth) { return Number(truth ? 1 : 0, 'L'); }
TwinValue Text(std::string text) {
  TwinValue v;
  v.type = 'C';
  v.text = std::move(text);
  return v;
}

std::size_t Cut(double count, std::size_t most) {
  if (count < 1) return 0;
  return count >= static_cast<double>(most) ? most : static_cast<std::size_t>(count);
}

TwinValue Shift(const TwinValue& date, double by) {
  if (date.number == 0) return date;
  const double moved = date.number + std::trunc(by);
  const double unit = date.type == 'T' ? 86400 : 1;
  if (!Calendar(std::floor(moved / unit))) return Null(date.type);
  return Number(moved, date.type);
}

double Days(const TwinValue& v) { return v.type == 'T' ? std::floor(v.number / 86400) : v.number; }

bool CompareTexts(const std::string& op, std::string left, std::string right) {
  if (op == "==") {
    const std::size_t width = std::max(left.size(), right.size());
    left.resize(width, ' ');
    right.resize(width, ' ');
    return left == right;
  }
  if (left.size() > right.size()) left.resize(right.size());
  const int order = left.compare(right);
  if (op == "=") return order == 0;
  if (op == "<>") return order != 0;
  if (op == "<") return order < 0;
  if (op == "<=") return order <= 0;
  if (op == ">") return order > 0;
  return order >= 0;
}

bool CompareNumbers(const std::string& op, double left, double right) {
  if (op == "=" || op == "==") return left == right;
  if (op == "<>") return left != right;
  if (op == "<") return left < right;
  if (op == "<=") return left <= right;
  if (op == ">") return left > right;
  return left >= right;
}

TwinValue FieldValue(const std::string& name, const TwinRow& row) {
  if (name == "NAME") return Text(row.name);
  if (name == "BIN") return Text(row.bin);
  if (name == "VAR") return Text(row.var);
  if (name == "NTEXT") return row.ntext ? Text(*row.ntext) : Null('C');
  if (name == "AMOUNT") return Number(ReadNumber(row.amount));
  if (name == "ID") return Number(row.id);
  if (name == "RATE") return Number(row.rate);
  if (name == "PRICE") {
    char text[32];
    std::snprintf(text, sizeof text, "%llde-4", static_cast<long long>(row.price));
    return Number(std::strtod(text, nullptr));
  }
  if (name == "NINT") return row.nint ? Number(*row.nint) : Null('N');
  if (name == "BORN") return Number(row.born, 'D');
  if (name == "NDATE") return row.ndate ? Number(*row.ndate, 'D') : Null('D');
  if (name == "SEEN") return Number(static_cast<double>(row.seen), 'T');
  if (name == "OK") return Truth(row.ok);
  return row.nok ? Truth(*row.nok) : Null('L');  // NOK
}

TwinValue Operator(const std::string& op, const TwinValue& a, const TwinValue& b) {
  if (op == "+" || op == "-") {
    const bool minus = op == "-";
    if (a.type == 'C') {
      if (!minus) return Text(a.text + b.text);
      const std::string kept = Trim(a.text, false, true);
      return Text(kept + b.text + std::string(a.text.size() - kept.size(), ' '));
    }
    const bool a_moves = a.type != 'N' && b.type == 'N';
    if (a_moves) return Shift(a, minus ? -b.number : b.number);
    if (a.type == 'N' && b.type != 'N') return Shift(b, a.number);
    return Number(minus ? a.number - b.number : a.number + b.number);
  }
  if (op == "*") return Number(a.number * b.number);
  if (op == "/") return b.number == 0 ? Null('N') : Number(a.number / b.number);
  if (op == "^") return Number(std::pow(a.number, b.number));
  if (op == "$") return Truth(b.text.find(a.text) != std::string::npos);
  if (a.type == 'C') return Truth(CompareTexts(op, a.text, b.text));
  const double left = a.type == 'D' && b.type == 'T' ? a.number * 86400 : a.number;
  const double right = b.type == 'D' && a.type == 'T' ? b.number * 86400 : b.number;
  return Truth(CompareNumbers(op, left, right));
}

TwinValue Function(const std::string& name, const std::vector<TwinValue>& v) {
  const TwinValue& a = v[0];
  if (name == "UPPER") return Text(ChangeCase(a.text, true));
  if (name == "LOWER") return Text(ChangeCase(a.text, false));
  if (name == "TRIM" || name == "RTRIM") return Text(Trim(a.text, false, true));
  if (name == "LTRIM") return Text(Trim(a.text, true, false));
  if (name == "ALLTRIM") return Text(Trim(a.text, true, true));
  if (name == "LEFT") return Text(a.text.substr(0, Cut(v[1].number, a.text.size())));
  if (name == "RIGHT") {
    return Text(a.text.substr(a.text.size() - Cut(v[1].number, a.text.size())));
  }
  if (name == "SUBSTR") {
    const std::size_t start = Cut(v[1].number, a.text.size() + 1);
    if (start == 0) return Text("");
    std::string rest = a.text.substr(start - 1);
    if (v.size() == 3) rest.resize(Cut(v[2].number, rest.size()));
    return Text(rest);
  }
  if (name == "PADL" || name == "PADR") {
    const std::size_t size = Cut(v[1].number, 254);
    const char fill = v.size() == 3 && !v[2].text.empty() ? v[2].text[0] : ' ';
    std::string text = a.text.substr(0, size);
    text.insert(name == "PADL" ? 0 : text.size(), size - text.size(), fill);
    return Text(text);
  }
  if (name == "SPACE") return Text(std::string(Cut(a.number, 254), ' '));
  if (name == "STR") {
    const std::size_t size = v.size() > 1 ? Cut(v[1].number, 254) : 10;
    return Text(Str(a.number, size, v.size() > 2 ? static_cast<int>(Cut(v[2].number, 254)) : 0));
  }
  if (name == "VAL") return Number(ReadNumber(a.text));
  if (name == "INT") return Number(a.number < 0 ? std::ceil(a.number) : std::floor(a.number));
  if (name == "ABS") return Number(a.number < 0 ? -a.number : a.number);
  if (name == "ROUND") {
    const double decimals = std::clamp(v[1].number, -400.0, 400.0);
    return Number(Round(a.number, static_cast<int>(decimals)));
  }
  if (name == "CHR") {
    const double code = std::trunc(a.number);
    if (code < 0 || code > 255) return Null('C');
    return Text(std::string(1, static_cast<char>(static_cast<int>(code))));
  }
  if (name == "ASC") return Number(a.text.empty() ? 0 : static_cast<unsigned char>(a.text[0]));
  if (name == "LEN") return Number(static_cast<double>(a.text.size()));
  if (name == "AT") {
    const std::size_t at = a.text.empty() ? std::string::npos : v[1].text.find(a.text);
    return Number(at == std::string::npos ? 0 : static_cast<double>(at + 1));
  }
  if (name == "DTOS") return Text(DateText(Days(a), "ymd", "        "));
  if (name == "DTOC") return Text(DateText(Days(a), "mdy", "  /  /    "));
  if (name == "CTOD") return Number(ReadDateText(a.text), 'D');
  if (name == "STOD") return Number(ReadDigits(a.text), 'D');
  const auto date = Calendar(Days(a));
  if (name == "YEAR") return Number(date ? int(date->year()) : 0);
  if (name == "MONTH") return Number(date ? unsigned(date->month()) : 0);
  if (name == "DAY") return Number(date ? unsigned(date->day()) : 0);
  // BINTOC
  const int bits = v.size() > 1 ? static_cast<int>(v[1].number) * 8 : 32;
  const double whole = std::trunc(a.number) + std::pow(2.0, bits - 1);
  if (whole < 0 || whole >= std::pow(2.0, bits)) return Null('C');
  std::string bytes;
  for (auto n = static_cast<std::uint64_t>(whole); static_cast<int>(bytes.size()) * 8 < bits;
       n >>= 8) {
    bytes.insert(0, 1, static_cast<char>(n & 0xFF));
  }
  return Text(bytes);
}

// Strengths of operators as in parser.cc's grammar; 9 for what needs no parentheses.
int Strength(const TwinNode& n) {
  const std::string& op = n.op;
  if (op == "OR") return 1;
  if (op == "AND") return 2;
  if (op == "NOT") return 3;
  if (op == "=" || op == "==" || op == "<>" || op == "<" || op == "<=" || op == ">" || op == ">=" ||
      op == "$") {
    return 4;
  }
  if (op == "+" || op == "-") return 5;
  if (op == "*" || op == "/") return 6;
  if (op == "^") return 7;
  if (op == "NEG") return 8;
  return 9;
}

}  // namespace

TestTable SlowTwin::Table() {
  TestTable t;
  t.Add("NAME", FieldLetter::kCharacter, 12)
      .Add("BIN", FieldLetter::kCharacterBinary, 4)
      .Add("VAR", FieldLetter::kVarchar, 8)
      .Add("NTEXT", FieldLetter::kCharacter, 6, true)
      .Add("AMOUNT", FieldLetter::kNumeric, 10, false, 2)
      .Add("ID", FieldLetter::kInteger, 4)
      .Add("RATE", FieldLetter::kDouble, 8)
      .Add("PRICE", FieldLetter::kCurrency, 8)
      .Add("NINT", FieldLetter::kInteger, 4, true)
      .Add("BORN", FieldLetter::kDate, 8)
      .Add("NDATE", FieldLetter::kDate, 8, true)
      .Add("SEEN", FieldLetter::kDateTime, 8)
      .Add("OK", FieldLetter::kLogical, 1)
      .Add("NOK", FieldLetter::kLogical, 1, true);
  return t;
}

std::vector<std::uint8_t> SlowTwin::Record(const TestTable& t, const TwinRow& row) {
  std::vector<std::uint8_t> r = t.NewRecord();
  r[0] = row.deleted ? kDeletedMark : kLiveMark;
  t.Put(&r, "NAME", row.name);
  t.Put(&r, "BIN", row.bin);
  t.Put(&r, "VAR", row.var);
  t.PutLength(&r, "VAR", static_cast<std::uint8_t>(row.var.size()));
  t.Put(&r, "NTEXT", row.ntext.value_or("junk"));
  t.PutNull(&r, "NTEXT", !row.ntext);
  t.Put(&r, "AMOUNT", row.amount);
  t.PutInteger(&r, "ID", row.id);
  t.PutDouble(&r, "RATE", row.rate);
  t.PutCurrency(&r, "PRICE", row.price);
  t.PutInteger(&r, "NINT", row.nint.value_or(99));
  t.PutNull(&r, "NINT", !row.nint);
  t.Put(&r, "BORN", DateText(row.born, "ymd", ""));
  t.Put(&r, "NDATE", DateText(row.ndate.value_or(0), "ymd", ""));
  t.PutNull(&r, "NDATE", !row.ndate);
  t.PutDateTime(&r, "SEEN", static_cast<std::int32_t>(row.seen / 86400),
                static_cast<std::int32_t>(row.seen % 86400 * 1000));
  t.Put(&r, "OK", row.ok ? "T" : "F");
  t.Put(&r, "NOK", row.nok.value_or(true) ? "T" : "F");
  t.PutNull(&r, "NOK", !row.nok);
  return r;
}

std::string SlowTwin::RandomText(std::size_t longest) {
  static constexpr std::string_view kLetters = "aaAbB  zZ1\xE4\xC4\xDF\x9Ck";
  std::string text;
  for (std::size_t n = Pick(longest + 1); n-- > 0;) text += kLetters[Pick(kLetters.size())];
  return text;
}

std::int32_t SlowTwin::RandomJulian() {
  if (Chance(8)) return 0;
  if (Chance(8)) return 5'373'484 - static_cast<std::int32_t>(Pick(3));
  if (Chance(8)) return 1'721'426 + static_cast<std::int32_t>(Pick(3));
  return 2'460'370 + static_cast<std::int32_t>(Pick(800)) - 400;
}

TwinRow SlowTwin::RandomRow() {
  TwinRow row;
  row.number = static_cast<std::uint32_t>(1 + Pick(30));
  row.deleted = Chance(4);
  row.name = RandomText(12);
  row.name.resize(12, ' ');
  row.bin = RandomText(4);
  row.bin.resize(4, ' ');
  if (Chance(4)) row.bin = std::string("\0\xFF\x01 ", 4);
  row.var = RandomText(7);
  if (!Chance(3)) {
    row.ntext = RandomText(6);
    row.ntext->resize(6, ' ');
  }
  char text[32];
  std::snprintf(text, sizeof text, "%10.2f", static_cast<double>(Pick(2'000'000)) / 100 - 9999);
  row.amount = Chance(10) ? "**********" : Chance(10) ? "" : Chance(10) ? "  1.5E+3" : text;
  row.id = Chance(8) ? std::numeric_limits<std::int32_t>::min()
                     : static_cast<std::int32_t>(Pick(25)) - 8;
  const double rates[] = {0,
                          -0.0,
                          0.5,
                          -2.5,
                          1.005,
                          1e300,
                          -1e-9,
                          123456.789,
                          std::numeric_limits<double>::quiet_NaN(),
                          std::numeric_limits<double>::infinity()};
  row.rate = rates[Pick(std::size(rates))];
  row.price = Chance(6) ? std::numeric_limits<std::int64_t>::max() - static_cast<int>(Pick(9))
                        : static_cast<std::int64_t>(Pick(400'000)) - 200'000;
  if (!Chance(3)) row.nint = static_cast<std::int32_t>(Pick(21)) - 10;
  row.born = RandomJulian();
  if (!Chance(3)) row.ndate = RandomJulian();
  const std::int32_t day = RandomJulian();
  if (day != 0) row.seen = day * std::int64_t{86400} + static_cast<std::int64_t>(Pick(86400));
  row.ok = Chance(2);
  if (!Chance(3)) row.nok = Chance(2);
  return row;
}

SlowTwin::NodePtr SlowTwin::Make(char type, std::string op, std::vector<NodePtr> children) {
  auto node = std::make_unique<TwinNode>();
  node->type = type;
  node->op = std::move(op);
  node->children = std::move(children);
  return node;
}

template <typename... Nodes>
SlowTwin::NodePtr SlowTwin::Of(char type, std::string op, Nodes... nodes) {
  std::vector<NodePtr> children;
  (children.push_back(std::move(nodes)), ...);
  return Make(type, std::move(op), std::move(children));
}

SlowTwin::NodePtr SlowTwin::Literal(char type) {
  NodePtr n = Make(type, "literal", {});
  switch (type) {
    case 'C': {
      static constexpr const char* kTexts[] = {
          "", "12.5", " -3 ", "02/29/2024", "^2023-1-31", "20240229", "1e400", "it's", "2.5e1x"};
      n->value = Text(Chance(3) ? kTexts[Pick(std::size(kTexts))] : RandomText(6));
      const bool quote = n->value.text.find('\'') != std::string::npos;
      static constexpr const char* kQuotes[] = {"\"\"", "[]", "''"};
      const char* quotes = kQuotes[Pick(quote ? 2 : 3)];
      n->spelling = quotes[0] + n->value.text + quotes[1];
      break;
    }
    case 'N': {
      static constexpr const char* kNumbers[] = {"0",   "1",   "2",     "3",     "10", ".5",
                                                 "2.5", "1e3", "1.005", "99999", "7.", "0.1"};
      n->spelling = kNumbers[Pick(std::size(kNumbers))];
      n->value = Number(std::strtod(n->spelling.c_str(), nullptr));
      break;
    }
    case 'D': {
      n->value = Number(RandomJulian(), 'D');
      const std::string ymd = DateText(n->value.number, "ymd", "");
      if (ymd.empty()) {
        n->spelling = Chance(2) ? "{}" : "{ / / }";
      } else if (Chance(2)) {
        n->spelling = "{" + DateText(n->value.number, "mdy", "") + "}";
      } else {
        n->spelling = "{^" + ymd.substr(0, 4) + "-" + ymd.substr(4, 2) + "-" + ymd.substr(6) + "}";
      }
      break;
    }
    default: {
      const bool truth = Chance(2);
      n->value = Truth(truth);
      n->spelling = truth ? (Chance(2) ? ".T." : ".y.") : (Chance(2) ? ".F." : ".n.");
      break;
    }
  }
  return n;
}

SlowTwin::NodePtr SlowTwin::Leaf(char type) {
  static constexpr const char* kTexts[] = {"NAME", "NAME", "BIN", "VAR", "NTEXT"};
  static constexpr const char* kNumbers[] = {"AMOUNT", "ID", "RATE", "PRICE", "NINT", "RECNO"};
  switch (type) {
    case 'C':
      return Chance(3) ? Literal('C') : Make('C', kTexts[Pick(std::size(kTexts))], {});
    case 'N':
      return Chance(2) ? Literal('N') : Make('N', kNumbers[Pick(std::size(kNumbers))], {});
    case 'D':
      return Chance(3) ? Literal('D') : Make('D', Chance(2) ? "BORN" : "NDATE", {});
    case 'T':
      return Make('T', "SEEN", {});
    default:
      return Chance(4)   ? Literal('L')
             : Chance(3) ? Make('L', "DELETED", {})
                         : Make('L', Chance(2) ? "OK" : "NOK", {});
  }
}

// The width that SPACE, PADL, PADR or STR gets: written out, or of a field.
SlowTwin::NodePtr SlowTwin::Count() {
  if (Chance(4)) return Make('N', Chance(2) ? "ID" : "NINT", {});
  if (Chance(6)) return Of('N', "-", Make('N', "RECNO", {}), Literal('N'));
  NodePtr n = Make('N', "literal", {});
  n->spelling = std::to_string(1 + Pick(20));
  n->value = Number(std::atoi(n->spelling.c_str()));
  return n;
}

SlowTwin::NodePtr SlowTwin::RandomTree(char type, int depth) {
  if (depth == 0 || Chance(8)) return Leaf(type);
  const auto sub = [&](char t) { return RandomTree(t, depth - 1); };
  if (Chance(10)) return Of(type, "IIF", sub('L'), sub(type), sub(type));
  switch (type) {
    case 'C':
      switch (Pick(14)) {
        case 0:
        case 1:
        case 2:
          return Of('C', "+", sub('C'), sub('C'));
        case 3:
          return Of('C', "-", sub('C'), sub('C'));
        case 4:
          return Of('C', Chance(2) ? "UPPER" : "LOWER", sub('C'));
        case 5: {
          static constexpr const char* kTrims[] = {"TRIM", "RTRIM", "LTRIM", "ALLTRIM"};
          return Of('C', kTrims[Pick(4)], sub('C'));
        }
        case 6:
          return Of('C', Chance(2) ? "LEFT" : "RIGHT", sub('C'), sub('N'));
        case 7:
          return Chance(2) ? Of('C', "SUBSTR", sub('C'), sub('N'))
                           : Of('C', "SUBSTR", sub('C'), sub('N'), sub('N'));
        case 8: {
          const char* pad = Chance(2) ? "PADL" : "PADR";
          return Chance(2) ? Of('C', pad, sub('C'), Count())
                           : Of('C', pad, sub('C'), Count(), sub('C'));
        }
        case 9:
          return Of('C', "SPACE", Count());
        case 10:
          return Chance(3)   ? Of('C', "STR", sub('N'))
                 : Chance(2) ? Of('C', "STR", sub('N'), Count())
                             : Of('C', "STR", sub('N'), Count(), sub('N'));
        case 11:
          return Of('C', "CHR", sub('N'));
        case 12:
          return Of('C', Chance(2) ? "DTOS" : "DTOC", sub(Chance(3) ? 'T' : 'D'));
        default: {
          if (Chance(2)) return Of('C', "BINTOC", sub('N'));
          NodePtr size = Make('N', "literal", {});
          size->spelling = std::to_string(1 << Pick(3));
          size->value = Number(std::atoi(size->spelling.c_str()));
          return Of('C', "BINTOC", sub('N'), std::move(size));
        }
      }
    case 'N':
      switch (Pick(15)) {
        case 0:
        case 1:
          return Of('N', "+", sub('N'), sub('N'));
        case 2:
          return Of('N', "-", sub('N'), sub('N'));
        case 3:
          return Of('N', "*", sub('N'), sub('N'));
        case 4:
          return Of('N', "/", sub('N'), sub('N'));
        case 5:
          return Of('N', "^", sub('N'), sub('N'));
        case 6:
          return Of('N', "NEG", sub('N'));
        case 7: {
          const char day = Chance(2) ? 'D' : 'T';
          return Of('N', "-", sub(day), sub(day));
        }
        case 8:
          return Of('N', "VAL", sub('C'));
        case 9:
          return Of('N', Chance(2) ? "INT" : "ABS", sub('N'));
        case 10:
          return Of('N', "ROUND", sub('N'), sub('N'));
        case 11:
          return Of('N', Chance(2) ? "ASC" : "LEN", sub('C'));
        case 12:
          return Of('N', "AT", sub('C'), sub('C'));
        default: {
          static constexpr const char* kParts[] = {"YEAR", "MONTH", "DAY"};
          return Of('N', kParts[Pick(3)], sub(Chance(3) ? 'T' : 'D'));
        }
      }
    case 'D':
      switch (Pick(4)) {
        case 0:
          return Chance(2) ? Of('D', "+", sub('D'), sub('N')) : Of('D', "+", sub('N'), sub('D'));
        case 1:
          return Of('D', "-", sub('D'), sub('N'));
        case 2:
          return Of('D', "CTOD", sub('C'));
        default:
          return Of('D', "STOD", sub('C'));
      }
    case 'T':
      return Chance(2)   ? Of('T', "-", sub('T'), sub('N'))
             : Chance(2) ? Of('T', "+", sub('T'), sub('N'))
                         : Of('T', "+", sub('N'), sub('T'));
    default: {
      static constexpr const char* kRelations[] = {"=", "==", "<>", "<", "<=", ">", ">="};
      const char* const relation = kRelations[Pick(std::size(kRelations))];
      switch (Pick(10)) {
        case 0:
        case 1:
          return Of('L', "AND", sub('L'), sub('L'));
        case 2:
        case 3:
          return Of('L', "OR", sub('L'), sub('L'));
        case 4:
          return Of('L', "NOT", sub('L'));
        case 5:
          return Of('L', Chance(2) ? "EMPTY" : "ISNULL", sub("CNDTL"[Pick(5)]));
        case 6:
          return Of('L', "$", sub('C'), sub('C'));
        case 7:
          return Of('L', relation, sub(Chance(2) ? 'D' : 'T'), sub(Chance(2) ? 'D' : 'T'));
        default: {
          const char t = "CCNNL"[Pick(5)];
          return Of('L', relation, sub(t), sub(t));
        }
      }
    }
  }
}

std::string SlowTwin::Print(const TwinNode& n, int weakest) {
  const auto word = [&](std::string text) {
    if (Chance(2)) {
      for (char& c : text) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
    }
    return text;
  };
  const auto gap = [&] { return std::string(Pick(3) == 0 ? " " : ""); };
  const int strength = Strength(n);
  if (strength < weakest || Chance(16)) return "(" + gap() + Print(n, 1) + gap() + ")";
  if (n.op == "literal") return n.spelling;
  if (n.op == "NEG") return "-" + gap() + Print(*n.children[0], 8);
  if (n.op == "NOT") {
    const std::string operand = Print(*n.children[0], 3);
    const std::string spelled = Chance(3) ? "!" : Chance(2) ? word(".NOT.") : word("NOT") + " ";
    return spelled + operand;
  }
  if (strength < 9) {
    std::string op = n.op;
    if (op == "AND" || op == "OR") op = Chance(2) ? " " + word(op) + " " : "." + word(op) + ".";
    if (op == "<>") op = Chance(3) ? "#" : Chance(2) ? "!=" : "<>";
    if (op == "^") op = Chance(2) ? "**" : "^";
    const std::string left = Print(*n.children[0], strength);
    return left + gap() + op + gap() + Print(*n.children[1], strength + 1);
  }
  if (n.children.empty() && n.op != "RECNO" && n.op != "DELETED") {
    return (Chance(8) ? "t->" : Chance(8) ? "alias." : "") + word(n.op);
  }
  std::string text = word(n.op) + gap() + "(";
  for (std::size_t i = 0; i < n.children.size(); ++i) {
    text += (i > 0 ? "," : "") + gap() + Print(*n.children[i], 1);
  }
  return text + gap() + ")";
}

TwinValue SlowTwin::Evaluate(const TwinNode& n, const TwinRow& row) {
  if (n.op == "literal") return n.value;
  if (n.op == "RECNO") return Number(row.number);
  if (n.op == "DELETED") return Truth(row.deleted);
  if (n.children.empty()) return FieldValue(n.op, row);
  std::vector<TwinValue> v;
  for (const auto& child : n.children) v.push_back(Evaluate(*child, row));

  if (n.op == "IIF") return !v[0].null && v[0].number != 0 ? v[1] : v[2];
  if (n.op == "ISNULL") return Truth(v[0].null);
  if (n.op == "EMPTY") {
    if (v[0].null) return Truth(false);
    if (v[0].type != 'C') return Truth(v[0].number == 0);
    for (const char c : v[0].text) {
      if (c != ' ' && c != '\t' && c != '\r' && c != '\n' && c != '\0') return Truth(false);
    }
    return Truth(true);
  }
  if (n.op == "AND" || n.op == "OR") {
    const double deciding = n.op == "AND" ? 0 : 1;
    for (const TwinValue& operand : v) {
      if (!operand.null && operand.number == deciding) return operand;
    }
    return v[0].null || v[1].null ? Null('L') : Truth(deciding == 0);
  }
  for (const TwinValue& operand : v) {
    if (operand.null) return Null(n.type);
  }
  if (n.op == "NOT") return Truth(v[0].number == 0);
  if (n.op == "NEG") return Number(0 - v[0].number);
  return Strength(n) < 9 ? Operator(n.op, v[0], v[1]) : Function(n.op, v);
}

std::string SlowTwin::Key(const TwinNode& n, const TwinRow& row, std::size_t length,
                          bool nullable) {
  const TwinValue v = Evaluate(n, row);
  if (v.null && nullable) return std::string(length, '\0');
  const std::string prefix = nullable ? "\x80" : "";
  const std::size_t size = length - prefix.size();
  if (n.type == 'C') {
    std::string text = v.text;
    text.resize(size, ' ');
    return prefix + text;
  }
  if (n.type == 'L') return prefix + (v.number != 0 ? "T" : "F");
  std::uint64_t bits = 0;
  if (n.op == "ID" || n.op == "NINT") {
    bits = static_cast<std::uint64_t>(static_cast<std::int64_t>(v.number) + 0x80000000LL) << 32;
  } else if (n.op == "PRICE") {
    bits = static_cast<std::uint64_t>(row.price) + 0x8000000000000000u;
  } else {
    double number = v.number;
    if (n.type == 'T') number = Days(v) + std::fmod(v.number, 86400) / 86400;
    if (number == 0) number = 0;  // the literal 0 is the positive one
    std::memcpy(&bits, &number, sizeof bits);
    bits = number < 0 ? ~bits : bits + 0x8000000000000000u;
  }
  std::string key = prefix;
  for (std::size_t i = 0; i < size; ++i) key += static_cast<char>(bits >> (56 - 8 * i) & 0xFF);
  return key;
}

}  // namespace pv::engine::expr
