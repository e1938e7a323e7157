// What JSON takes for a number. Tested by listing_test.cc.
#include "cli/output/json_text.h"

namespace pv::cli {

bool IsJsonNumber(std::string_view text) {
  const auto digits = [&text] {
    std::size_t n = 0;
    while (n < text.size() && text[n] >= '0' && text[n] <= '9') ++n;
    text.remove_prefix(n);
    return n;
  };
  if (!text.empty() && text.front() == '-') text.remove_prefix(1);
  const bool zero = !text.empty() && text.front() == '0';
  const std::size_t whole = digits();
  if (whole == 0 || (zero && whole > 1)) return false;
  if (!text.empty() && text.front() == '.') {
    text.remove_prefix(1);
    if (digits() == 0) return false;
  }
  if (!text.empty() && (text.front() == 'e' || text.front() == 'E')) {
    text.remove_prefix(1);
    if (!text.empty() && (text.front() == '+' || text.front() == '-')) text.remove_prefix(1);
    if (digits() == 0) return false;
  }
  return text.empty();
}

}  // namespace pv::cli
