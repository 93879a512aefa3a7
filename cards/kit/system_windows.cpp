#include <windows.h>

#include "kit/system.h"

namespace kestrune::kit {
namespace {

std::string ToUtf8(const std::wstring& text) {
  std::string utf8(text.size() * 3, '\0');
  const int length = WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), utf8.data(),
                                         static_cast<int>(utf8.size()), nullptr, nullptr);
  utf8.resize(static_cast<std::size_t>(length));
  return utf8;
}

std::wstring ToWide(const std::string& text) {
  std::wstring wide(text.size(), L'\0');
  const int length = MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), wide.data(),
                                         static_cast<int>(wide.size()));
  wide.resize(static_cast<std::size_t>(length));
  return wide;
}

}  // namespace

std::string EnvironmentText(const char* name) {
  const std::wstring wideName = ToWide(name);
  std::wstring value(GetEnvironmentVariableW(wideName.c_str(), nullptr, 0), L'\0');
  value.resize(GetEnvironmentVariableW(wideName.c_str(), value.data(), static_cast<DWORD>(value.size())));
  return ToUtf8(value);
}

std::FILE* OpenForReading(const std::string& path) { return _wfopen(ToWide(path).c_str(), L"rb"); }

}  // namespace kestrune::kit
