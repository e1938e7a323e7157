// The address book that a converter and its contacts have in common.
#ifndef PV_PROVIDERS_CONVERTER_AUTOMATION_SESSION_H_
#define PV_PROVIDERS_CONVERTER_AUTOMATION_SESSION_H_

#include <memory>
#include <optional>
#include <string>

#include "providers/converter/model/roster.h"
#include "providers/converter/open_book.h"

namespace pv::converter {

// Throws automation::Error for a failed Status; `source` is the operation that failed.
void ThrowUnlessOk(const Status& status, const char* source);

class Session {
 public:
  const std::string& format() const { return format_; }
  const std::string& location() const { return location_; }

  // Each closes the book.
  void SetFormat(std::string code);
  void SetLocation(std::string location);
  void SetPassword(std::string password);

  // The book, opened now if it is not yet; throws automation::Error. Whoever keeps it keeps it
  // open.
  std::shared_ptr<Roster> Book();

 private:
  std::string format_;
  std::string location_;
  Access access_;
  std::shared_ptr<Roster> roster_;
};

}  // namespace pv::converter

#endif  // PV_PROVIDERS_CONVERTER_AUTOMATION_SESSION_H_
