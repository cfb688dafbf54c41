#ifndef DATASOURCE_WIDENAME_H
#define DATASOURCE_WIDENAME_H

#include <string>
#include <string_view>

/// Text between UTF-8, code pages and the system's wide form, and file names as its wide calls take them.
namespace datasource::platform {

/// Raises: std::invalid_argument when the bytes are not text in that code page, or the code page is
///   not known.
std::wstring wideFromCodePage(std::string_view bytes, unsigned int codePage);

/// Raises: std::invalid_argument when the text has letters that the code page lacks.
std::string codePageFromWide(std::wstring_view text, unsigned int codePage);

std::wstring wideFromUtf8(std::string_view text);
std::string utf8FromWide(std::wstring_view text);

/// Returns: the generic name as the system's wide calls take it: backslashes, and the extended form
///   (`\\?\C:\...`, `\\?\UNC\server\...`) when the whole path is too long for the ordinary one.
/// Raises: std::invalid_argument when the name is not UTF-8.
std::wstring wideNameForOpen(std::string_view genericName);

}  // namespace datasource::platform

#endif
