// What the classes of the door share. Tested by tests/windows.
#include "server/com/com_api.h"

#include <new>

#include "base/text.h"
#include "server/com/type_info.h"

namespace pv::server::com {
namespace {

LONG holders = 0;

}  // namespace

void HoldModule() noexcept { ::InterlockedIncrement(&holders); }

void LetModuleGo() noexcept {
  // The type library goes with the last object, while the automation runtime is surely there.
  if (::InterlockedDecrement(&holders) == 0) ForgetTypeLibrary();
}

bool ModuleIsHeld() noexcept { return ::InterlockedCompareExchange(&holders, 0, 0) != 0; }

HMODULE ThisModule() noexcept {
  HMODULE module = nullptr;
  ::GetModuleHandleExW(
      GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
      reinterpret_cast<const wchar_t*>(&holders), &module);
  return module;
}

std::wstring Braced(const Identifier& id) { return Wide("{" + ToText(id) + "}"); }

std::wstring Wide(std::string_view utf8) {
  static_assert(sizeof(wchar_t) == sizeof(char16_t));
  const std::u16string utf16 = Utf16FromUtf8(utf8);
  return std::wstring(utf16.begin(), utf16.end());
}

std::string Utf8(const wchar_t* text, std::size_t length) {
  return Utf8FromUtf16(std::u16string(text, text + length));
}

BSTR NewBstr(std::string_view utf8) {
  const std::u16string utf16 = Utf16FromUtf8(utf8);
  BSTR text = ::SysAllocStringLen(reinterpret_cast<const wchar_t*>(utf16.data()),
                                  static_cast<UINT>(utf16.size()));
  if (text == nullptr) throw std::bad_alloc();
  return text;
}

}  // namespace pv::server::com
