#include "wideName.h"

#ifndef NOMINMAX
#define NOMINMAX
#endif
#define WIN32_LEAN_AND_MEAN
#include <windows.h>

#include <algorithm>
#include <cstddef>
#include <limits>
#include <stdexcept>

namespace datasource::platform {
namespace {

int checkedLength(std::size_t length) {
  if (length > static_cast<std::size_t>(std::numeric_limits<int>::max())) {
    throw std::invalid_argument("text too long");
  }
  return static_cast<int>(length);
}

/// These code pages know every letter; they report a letter that is none by a flag of their own.
bool isUnicodeCodePage(unsigned int codePage) { return codePage == CP_UTF8 || codePage == 54936; }

bool beginsWith(std::wstring_view text, std::wstring_view start) { return text.substr(0, start.size()) == start; }

/// Returns: the whole path, or nothing when the system cannot tell it.
std::wstring fullPath(const std::wstring& name) {
  const DWORD capacity = GetFullPathNameW(name.c_str(), 0, nullptr, nullptr);
  std::wstring path(capacity, L'\0');
  const DWORD length = capacity == 0 ? 0 : GetFullPathNameW(name.c_str(), capacity, path.data(), nullptr);
  path.resize(length < capacity ? length : 0);
  return path;
}

}  // namespace

std::wstring wideFromCodePage(std::string_view bytes, unsigned int codePage) {
  if (bytes.empty()) return {};
  const int length = checkedLength(bytes.size());
  const int needed = MultiByteToWideChar(codePage, MB_ERR_INVALID_CHARS, bytes.data(), length, nullptr, 0);
  if (needed <= 0) throw std::invalid_argument("not text in this code page");
  std::wstring text(static_cast<std::size_t>(needed), L'\0');
  MultiByteToWideChar(codePage, MB_ERR_INVALID_CHARS, bytes.data(), length, text.data(), needed);
  return text;
}

std::string codePageFromWide(std::wstring_view text, unsigned int codePage) {
  if (text.empty()) return {};
  const bool unicode = isUnicodeCodePage(codePage);
  const DWORD flags = unicode ? WC_ERR_INVALID_CHARS : WC_NO_BEST_FIT_CHARS;
  BOOL replaced = FALSE;
  BOOL* const replacedOut = unicode ? nullptr : &replaced;
  const int length = checkedLength(text.size());
  const int needed = WideCharToMultiByte(codePage, flags, text.data(), length, nullptr, 0, nullptr, replacedOut);
  if (needed <= 0 || replaced) throw std::invalid_argument("no such letters in this code page");
  std::string bytes(static_cast<std::size_t>(needed), '\0');
  WideCharToMultiByte(codePage, flags, text.data(), length, bytes.data(), needed, nullptr, replacedOut);
  if (replaced) throw std::invalid_argument("no such letters in this code page");
  return bytes;
}

std::wstring wideFromUtf8(std::string_view text) { return wideFromCodePage(text, CP_UTF8); }

std::string utf8FromWide(std::wstring_view text) { return codePageFromWide(text, CP_UTF8); }

std::wstring wideNameForOpen(std::string_view genericName) {
  std::wstring name = wideFromUtf8(genericName);
  std::replace(name.begin(), name.end(), L'/', L'\\');
  if (beginsWith(name, L"\\\\?\\") || beginsWith(name, L"\\\\.\\")) return name;
  // The limit counts the terminator, and it is the whole path that has to keep it.
  const std::wstring path = fullPath(name);
  if (path.size() + 1 <= MAX_PATH) return name;
  if (beginsWith(path, L"\\\\?\\") || beginsWith(path, L"\\\\.\\")) return path;
  if (beginsWith(path, L"\\\\")) return L"\\\\?\\UNC" + path.substr(1);
  return L"\\\\?\\" + path;
}

}  // namespace datasource::platform
