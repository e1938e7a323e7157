// What standard output and standard error are connected to.
#ifndef PV_CLI_OUTPUT_TERMINAL_H_
#define PV_CLI_OUTPUT_TERMINAL_H_

#include <cstddef>
#include <string>
#include <string_view>

namespace pv::cli {

bool InputIsTerminal();
bool OutputIsTerminal();
bool ErrorsAreTerminal();

// Columns of the terminal on standard output; 80 when it cannot be told.
std::size_t TerminalColumns();

// True when output on a terminal may be coloured: NO_COLOR is unset or empty, TERM is not "dumb".
bool ColorsWanted();

// Asks a question on the terminal; true for an answer that begins with y. Only to be called when
// InputIsTerminal and ErrorsAreTerminal.
bool AskYesNo(const std::string& question);

// Asks for a text that is not shown while it is typed. Only to be called likewise.
std::string AskSecret(const std::string& question);

// Cells that text takes on a terminal: none for combining marks, two for wide letters.
std::size_t DisplayWidth(std::string_view utf8);

// Text as it may be sent to a terminal or a line of a plain listing: control characters as escapes
// (\t, \n, \r, \xNN), so that no stored value can steer the terminal; "\" as "\\".
void AppendVisible(std::string* out, std::string_view utf8);

// The same for sentences that may name files and values: "\" stays as it is.
std::string Harmless(std::string_view utf8);

// One line on standard error: "pvgroup: " and the message, made harmless.
void Tell(std::string_view message);

// `utf8` cut to `cells` cells, the last one being "…" when something is missing.
std::string Shortened(std::string_view utf8, std::size_t cells);

}  // namespace pv::cli

#endif  // PV_CLI_OUTPUT_TERMINAL_H_
