// Trace messages between windows. Tested by trace_windows_test.cc.
#include "platform/win32/trace_windows_win32.h"

#include <deque>

#include "platform/win32/windows_api.h"

namespace pv::platform {
namespace {

constexpr char kWindowClass[] = "PvTraceListener";

using Queue = std::deque<TraceMessage>;

LRESULT CALLBACK OnMessage(HWND window, UINT message, WPARAM wide, LPARAM narrow) {
  if (message != WM_COPYDATA) return ::DefWindowProcA(window, message, wide, narrow);
  auto* const queue = reinterpret_cast<Queue*>(::GetWindowLongPtrA(window, GWLP_USERDATA));
  const auto* const data = reinterpret_cast<const COPYDATASTRUCT*>(narrow);
  if (queue == nullptr || data == nullptr || (data->lpData == nullptr && data->cbData != 0)) {
    return FALSE;
  }
  queue->push_back({static_cast<std::uint32_t>(data->dwData),
                    std::string(static_cast<const char*>(data->lpData), data->cbData)});
  return TRUE;
}

class Win32TraceListener : public TraceListener {
 public:
  ~Win32TraceListener() override {
    if (window_ != nullptr) ::DestroyWindow(window_);
  }

  Status Open(const std::string& title) {
    WNDCLASSA kind = {};
    kind.lpfnWndProc = &OnMessage;
    kind.hInstance = ::GetModuleHandleA(nullptr);
    kind.lpszClassName = kWindowClass;
    if (::RegisterClassA(&kind) == 0 && ::GetLastError() != ERROR_CLASS_ALREADY_EXISTS) {
      return FromWindowsError(::GetLastError(), title, "cannot open the window");
    }
    window_ =
        ::CreateWindowExA(0, kWindowClass, AnsiFromUtf8(title, nullptr).c_str(), WS_OVERLAPPED, 0,
                          0, 0, 0, nullptr, nullptr, kind.hInstance, nullptr);
    if (window_ == nullptr) {
      return FromWindowsError(::GetLastError(), title, "cannot open the window");
    }
    ::SetWindowLongPtrA(window_, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(&received_));
    return Status::Ok();
  }

  Result<std::optional<TraceMessage>> Receive(std::uint32_t milliseconds) override {
    const ULONGLONG end = ::GetTickCount64() + milliseconds;
    for (;;) {
      // Messages that others send are delivered inside this call.
      MSG message;
      while (::PeekMessageA(&message, nullptr, 0, 0, PM_REMOVE)) ::DispatchMessageA(&message);
      if (!received_.empty()) {
        std::optional<TraceMessage> first = std::move(received_.front());
        received_.pop_front();
        return first;
      }
      const ULONGLONG now = ::GetTickCount64();
      if (now >= end) return std::optional<TraceMessage>();
      ::MsgWaitForMultipleObjects(0, nullptr, FALSE, static_cast<DWORD>(end - now), QS_ALLINPUT);
    }
  }

 private:
  HWND window_ = nullptr;
  Queue received_;
};

}  // namespace

TraceHandle Win32TraceWindows::Find(const std::string& title) {
  return reinterpret_cast<TraceHandle>(
      ::FindWindowA(nullptr, AnsiFromUtf8(title, nullptr).c_str()));
}

void Win32TraceWindows::Send(TraceHandle window, const TraceMessage& message) {
  COPYDATASTRUCT data;
  data.dwData = message.kind;
  data.cbData = static_cast<DWORD>(message.bytes.size());
  data.lpData = const_cast<char*>(message.bytes.data());
  ::SendMessageA(reinterpret_cast<HWND>(window), WM_COPYDATA, 0, reinterpret_cast<LPARAM>(&data));
}

Result<std::unique_ptr<TraceListener>> Win32TraceWindows::Listen(const std::string& title) {
  auto listener = std::make_unique<Win32TraceListener>();
  PV_RETURN_IF_ERROR(listener->Open(title));
  return std::unique_ptr<TraceListener>(std::move(listener));
}

}  // namespace pv::platform
