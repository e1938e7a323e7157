// Small procedures that the classes share: settings files, file tests, identifiers, membership.
#ifndef PV_SUPPORT_APPLICATION_H_
#define PV_SUPPORT_APPLICATION_H_

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/system.h"
#include "pvgroupman/automation/object.h"
#include "pvgroupman/automation/value.h"

namespace pv::support {

// Automation's number for a file or folder that cannot be made or removed.
constexpr std::int32_t kErrPathAccess = 75;

// A settings file's value is read up to this many bytes of the ANSI code page.
constexpr std::size_t kLongestSetting = 2047;

// The value of a key in a section of a private-profile file, or `fallback` when there is none or
// it is empty. A longer value than kLongestSetting is cut there.
std::string ReadSetting(const std::string& file, std::string_view section, std::string_view key,
                        const std::string& fallback);

// Writes a value, creating file and section as needed. A failure is not reported.
void WriteSetting(const std::string& file, std::string_view section, std::string_view key,
                  std::string_view value);

// Writes several values of a section in one step, each in the form in which ReadSetting gives it
// back unchanged. False, and the file stays as it was, when that cannot be: a value with a line
// break, longer than kLongestSetting or with characters that the code page lacks, or a file that
// cannot be written.
bool WriteSettings(const std::string& file, std::string_view section,
                   std::vector<platform::ProfileEntry> entries);

// True for a file whose length can be read, false for folders and for what is not there.
bool FileExists(const std::string& path);

// True for a folder; false on any error.
bool IsFolder(const std::string& path);

// Makes a folder and its missing parents for their owner alone; error 75 with the reason when
// that fails.
void EnsureFolder(const std::string& folder);

// Number of the last element of an array, whose elements count from 1; 0 for an array without
// elements and for a value that is none.
std::int32_t UpperBound(const automation::Value& array);

// A new identifier: 32 upper-case hexadecimal digits. "" when the system has none to give.
std::string NewIdentifier();

// The identifier's text: its first four bytes as eight digits, then twice two bytes as four
// digits, then the last eight bytes, each digit group padded with zeros.
std::string IdentifierText(const std::array<std::uint8_t, 16>& bytes);

// True when an item of a collection equals a text, letter case included. False on any error.
bool ContainsText(const automation::Ref<automation::Object>& collection, const std::string& text);

// The same test against any value, compared as automation compares variants.
bool ContainsValue(const automation::Ref<automation::Object>& collection,
                   const automation::Value& value);

// The folder with "\" behind it, unless it ends so already.
std::string WithSeparator(std::string folder);

// Why an ID cannot be part of a file name, as the end of the sentence "The ID ... "; "" when it
// can. Refused are separators, colons, wildcards, control characters and ill-formed text.
std::string WhyNotPartOfFileName(std::string_view id);

// Error 5, naming `what` and the text, when a text does not fit a field of `width` bytes in the
// current code page, or has characters that the page lacks. A width of 0 is any.
void RequireFits(const char* what, const std::string& text, std::size_t width);

// The same without the text, which may hold secrets.
void RequireFitsUnseen(const char* what, const std::string& text, std::size_t width);

// The group data folder as the classes ask for it: once, of the product's settings object.
class DataFolder {
 public:
  // The folder, ending in "\".
  const std::string& Path();

  // Lets the settings object go; the folder stays known.
  void Release() { settings_ = nullptr; }

 private:
  automation::Ref<automation::Object> settings_;
  std::string path_;
};

}  // namespace pv::support

#endif  // PV_SUPPORT_APPLICATION_H_
