// A trace viewer: writes the lines that reach its window into a file, until another file is there.
// The arguments are a file that says that the window is there, the file of lines, and the one that
// ends it.
#include <windows.h>
// After windows.h:
#include <shellapi.h>

#include <cstdio>

namespace {

FILE* lines = nullptr;

LRESULT CALLBACK Receive(HWND window, UINT message, WPARAM w, LPARAM l) {
  if (message != WM_COPYDATA) return ::DefWindowProcW(window, message, w, l);
  const auto* const data = reinterpret_cast<const COPYDATASTRUCT*>(l);
  // The kind, how many bytes behind the text there are, and the text.
  const auto* const text = static_cast<const char*>(data->lpData);
  const int size = static_cast<int>(data->cbData) - 1;
  std::fprintf(lines, "%lu %d %.*s\n", static_cast<unsigned long>(data->dwData),
               size >= 0 && text[size] == '\0' ? 1 : 0, size, text);
  return TRUE;
}

bool Exists(const wchar_t* file) { return ::GetFileAttributesW(file) != INVALID_FILE_ATTRIBUTES; }

}  // namespace

int main() {
  int count = 0;
  wchar_t** words = ::CommandLineToArgvW(::GetCommandLineW(), &count);
  if (count < 4) return 2;
  lines = ::_wfopen(words[2], L"w");
  if (lines == nullptr) return 1;
  WNDCLASSW kind{};
  kind.lpfnWndProc = &Receive;
  kind.hInstance = ::GetModuleHandleW(nullptr);
  kind.lpszClassName = L"TraceViewer";
  if (::RegisterClassW(&kind) == 0) return 1;
  const HWND window = ::CreateWindowW(kind.lpszClassName, L"Parvane :: Trace", 0, 0, 0, 0, 0,
                                      nullptr, nullptr, kind.hInstance, nullptr);
  if (window == nullptr) return 1;
  std::fclose(::_wfopen(words[1], L"w"));
  ::SetTimer(window, 1, 100, nullptr);
  MSG message;
  while (!Exists(words[3]) && ::GetMessageW(&message, nullptr, 0, 0) > 0) {
    ::DispatchMessageW(&message);
  }
  return std::fclose(lines) == 0 ? 0 : 1;
}
