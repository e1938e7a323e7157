// Errors of automation hosts. Tested by tests/windows.
#include "server/com/errors.h"

#include <iterator>

namespace pv::server::com {
namespace {

using automation::Error;

constexpr HRESULT kBasicErrors = static_cast<HRESULT>(0x800A0000U);

// Codes of automation that say the same as a number of ours.
struct KnownCode {
  HRESULT code;
  std::int32_t number;
};
constexpr KnownCode kKnownCodes[] = {
    {DISP_E_MEMBERNOTFOUND, automation::kErrNoSuchMember},
    {DISP_E_UNKNOWNNAME, automation::kErrNoSuchMember},
    {DISP_E_PARAMNOTFOUND, automation::kErrNamedArgument},
    {DISP_E_NONAMEDARGS, automation::kErrNamedArgument},
    {DISP_E_PARAMNOTOPTIONAL, automation::kErrArgumentMissing},
    {DISP_E_BADPARAMCOUNT, automation::kErrArgumentCount},
    {DISP_E_TYPEMISMATCH, automation::kErrTypeMismatch},
    {DISP_E_BADVARTYPE, automation::kErrTypeMismatch},
    {DISP_E_OVERFLOW, automation::kErrOverflow},
    {DISP_E_BADINDEX, automation::kErrSubscript},
    {E_OUTOFMEMORY, automation::kErrOutOfMemory},
};

std::string TakeText(BSTR* text) {
  const std::string utf8 = *text == nullptr ? "" : Utf8(*text, ::SysStringLen(*text));
  ::SysFreeString(*text);
  *text = nullptr;
  return utf8;
}

// What the system says about a code.
std::string SystemText(HRESULT code) {
  wchar_t* text = nullptr;
  const DWORD size = ::FormatMessageW(
      FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
      nullptr, static_cast<DWORD>(code), 0, reinterpret_cast<wchar_t*>(&text), 0, nullptr);
  std::wstring_view said(text == nullptr ? L"" : text, size);
  while (!said.empty() && said.back() <= L' ') said.remove_suffix(1);
  std::string utf8 = Utf8(said.data(), said.size());
  if (text != nullptr) ::LocalFree(text);
  return utf8;
}

void SetText(BSTR* to, const std::string& text) noexcept {
  try {
    *to = NewBstr(text);
  } catch (...) {
    *to = nullptr;  // the number alone must do
  }
}

}  // namespace

HRESULT CodeOf(std::int32_t number) noexcept {
  if (number < 0) return number;
  if (number == 0 || number > 0xFFFF) return kBasicErrors | automation::kErrInternal;
  return kBasicErrors | number;
}

HRESULT Report(const Error& error, const GUID& interface_id, EXCEPINFO* out) noexcept {
  const HRESULT code = CodeOf(error.number());
  BSTR source = nullptr;
  BSTR description = nullptr;
  SetText(&source, error.source());
  SetText(&description, error.description());
  Pointer<ICreateErrorInfo> making;
  if (SUCCEEDED(::CreateErrorInfo(making.Receive()))) {
    making->SetGUID(interface_id);
    making->SetSource(source);
    making->SetDescription(description);
    Pointer<IErrorInfo> info;
    if (SUCCEEDED(
            making->QueryInterface(IID_IErrorInfo, reinterpret_cast<void**>(info.Receive())))) {
      ::SetErrorInfo(0, info.get());
    }
  }
  if (out == nullptr) {
    ::SysFreeString(source);
    ::SysFreeString(description);
  } else {
    *out = EXCEPINFO{};
    out->bstrSource = source;
    out->bstrDescription = description;
    out->scode = code;
  }
  return code;
}

Error ErrorOf(HRESULT result, EXCEPINFO* info, const std::string& source) {
  std::string from = source;
  std::string said;
  HRESULT code = result;
  if (result == DISP_E_EXCEPTION) {
    if (info->pfnDeferredFillIn != nullptr) info->pfnDeferredFillIn(info);
    const std::string their_source = TakeText(&info->bstrSource);
    said = TakeText(&info->bstrDescription);
    TakeText(&info->bstrHelpFile);
    if (!their_source.empty()) from = their_source;
    code = info->wCode != 0 ? kBasicErrors | info->wCode : info->scode;
    if (code == 0) code = result;
  }
  std::int32_t number = code;
  if ((static_cast<std::uint32_t>(code) & 0xFFFF0000U) ==
      static_cast<std::uint32_t>(kBasicErrors)) {
    number = code & 0xFFFF;
  } else {
    for (const KnownCode& known : kKnownCodes) {
      if (known.code == code) number = known.number;
    }
  }
  if (number == 0) number = automation::kErrInternal;
  if (said.empty()) said = number > 0 ? automation::StandardDescription(number) : SystemText(code);
  if (said.empty()) said = automation::StandardDescription(number);
  return Error(number, from, said);
}

}  // namespace pv::server::com
