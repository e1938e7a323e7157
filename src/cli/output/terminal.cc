// Asks about and writes for terminals. Tested by terminal_test.cc.
#include "cli/output/terminal.h"

#ifdef _WIN32
#include <io.h>
#else
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>
#endif

#include <cstdio>
#include <cstdlib>

#include "base/text.h"

namespace pv::cli {
namespace {

#ifdef _WIN32
bool IsTerminal(std::FILE* stream) { return _isatty(_fileno(stream)) != 0; }
#else
bool IsTerminal(std::FILE* stream) { return isatty(fileno(stream)) != 0; }
#endif

struct Range {
  char32_t first, last;
};

// Marks that stand over or under the letter before them, and format characters.
constexpr Range kNoWidth[] = {
    {0x0300, 0x036F}, {0x0483, 0x0489}, {0x0591, 0x05BD}, {0x0610, 0x061A}, {0x064B, 0x065F},
    {0x1AB0, 0x1AFF}, {0x1DC0, 0x1DFF}, {0x200B, 0x200F}, {0x202A, 0x202E}, {0x2060, 0x2064},
    {0x20D0, 0x20FF}, {0xFE00, 0xFE0F}, {0xFE20, 0xFE2F}, {0xFEFF, 0xFEFF}};
// East Asian letters and pictures.
constexpr Range kWide[] = {
    {0x1100, 0x115F}, {0x2E80, 0x303E},   {0x3041, 0x33FF},   {0x3400, 0x4DBF},  {0x4E00, 0x9FFF},
    {0xA000, 0xA4CF}, {0xAC00, 0xD7A3},   {0xF900, 0xFAFF},   {0xFE30, 0xFE4F},  {0xFF00, 0xFF60},
    {0xFFE0, 0xFFE6}, {0x1F300, 0x1F64F}, {0x1F900, 0x1F9FF}, {0x20000, 0x3FFFD}};

template <std::size_t n>
bool IsIn(const Range (&ranges)[n], char32_t c) {
  for (const Range& r : ranges) {
    if (c >= r.first && c <= r.last) return true;
  }
  return false;
}

std::size_t WidthOf(char32_t c) {
  if (c < 0x0300) return 1;
  if (IsIn(kNoWidth, c)) return 0;
  return IsIn(kWide, c) ? 2 : 1;
}

// Controls of both sets, and the characters that turn the direction of text around.
bool IsControl(char32_t c) {
  return c < 0x20 || (c >= 0x7F && c < 0xA0) || (c >= 0x202A && c <= 0x202E) ||
         (c >= 0x2066 && c <= 0x2069);
}

void AppendEscaped(std::string* out, std::string_view utf8, bool double_backslashes) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  for (std::size_t pos = 0; pos < utf8.size();) {
    const std::size_t start = pos;
    const char32_t c = DecodeUtf8(utf8, &pos);
    if (c == '\t') {
      *out += "\\t";
    } else if (c == '\n') {
      *out += "\\n";
    } else if (c == '\r') {
      *out += "\\r";
    } else if (c == '\\') {
      *out += double_backslashes ? "\\\\" : "\\";
    } else if (IsControl(c)) {
      *out += c < 0x100 ? "\\x" : "\\u";
      for (int shift = c < 0x100 ? 4 : 12; shift >= 0; shift -= 4) {
        out->push_back(kDigits[c >> shift & 15]);
      }
    } else if (c == kReplacementCharacter) {
      AppendUtf8(out, c);
    } else {
      out->append(utf8, start, pos - start);
    }
  }
}

}  // namespace

bool InputIsTerminal() { return IsTerminal(stdin); }
bool OutputIsTerminal() { return IsTerminal(stdout); }
bool ErrorsAreTerminal() { return IsTerminal(stderr); }

std::size_t TerminalColumns() {
#ifndef _WIN32
  winsize size{};
  if (ioctl(fileno(stdout), TIOCGWINSZ, &size) == 0 && size.ws_col > 0) return size.ws_col;
#endif
  if (const char* columns = std::getenv("COLUMNS")) {
    const long n = std::strtol(columns, nullptr, 10);
    if (n > 0 && n < 10000) return static_cast<std::size_t>(n);
  }
  return 80;
}

bool ColorsWanted() {
  const char* no_color = std::getenv("NO_COLOR");
  if (no_color != nullptr && *no_color != '\0') return false;
  const char* term = std::getenv("TERM");
  return term == nullptr || std::string_view(term) != "dumb";
}

bool AskYesNo(const std::string& question) {
  std::fprintf(stderr, "%s [y/N] ", Harmless(question).c_str());
  std::fflush(stderr);
  const int first = std::getc(stdin);
  for (int c = first; c != '\n' && c != EOF;) c = std::getc(stdin);
  return first == 'y' || first == 'Y';
}

std::string AskSecret(const std::string& question) {
#ifndef _WIN32
  // Before the question: what is typed once it stands there counts, and is not shown.
  termios shown{};
  const bool hidden = tcgetattr(fileno(stdin), &shown) == 0;
  if (hidden) {
    termios silent = shown;
    silent.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    tcsetattr(fileno(stdin), TCSAFLUSH, &silent);
  }
#endif
  std::fprintf(stderr, "%s", Harmless(question).c_str());
  std::fflush(stderr);
  std::string secret;
  for (int c = std::getc(stdin); c != '\n' && c != EOF; c = std::getc(stdin)) {
    secret += static_cast<char>(c);
  }
#ifndef _WIN32
  if (hidden) tcsetattr(fileno(stdin), TCSAFLUSH, &shown);
#endif
  std::fprintf(stderr, "\n");
  return secret;
}

std::size_t DisplayWidth(std::string_view utf8) {
  std::size_t width = 0;
  for (std::size_t pos = 0; pos < utf8.size();) width += WidthOf(DecodeUtf8(utf8, &pos));
  return width;
}

void AppendVisible(std::string* out, std::string_view utf8) { AppendEscaped(out, utf8, true); }

std::string Harmless(std::string_view utf8) {
  std::string out;
  AppendEscaped(&out, utf8, false);
  return out;
}

void Tell(std::string_view message) {
  std::fflush(stdout);
  std::fprintf(stderr, "pvgroup: %s\n", Harmless(message).c_str());
}

std::string Shortened(std::string_view utf8, std::size_t cells) {
  if (DisplayWidth(utf8) <= cells) return std::string(utf8);
  std::size_t width = 0;
  std::size_t end = 0;
  for (std::size_t pos = 0; pos < utf8.size();) {
    width += WidthOf(DecodeUtf8(utf8, &pos));
    if (width + 1 > cells) break;
    end = pos;
  }
  return std::string(utf8.substr(0, end)) + "\xE2\x80\xA6";
}

}  // namespace pv::cli
