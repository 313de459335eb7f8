#pragma once

#include <regex>
#include <string>
#include <vector>

#include "protocol/export.h"

// Texts are bytes; only s2ws and ws2s give them an encoding. All functions may be called from any
// thread.

// Formats as printf does; a text that cannot be formatted is empty. The compiler does not check the
// arguments against the format.
B2_EXPORT std::string string_format(std::string format, ...);

// The pieces between the matches of `separator`, empty ones included; a text without a match is one
// piece. Throws what the regular-expression library throws.
B2_EXPORT std::vector<std::string> split(const std::string& text, const std::regex& separator);
B2_EXPORT std::vector<std::wstring> split(const std::wstring& text, const std::wregex& separator);

// The pieces between runs of characters out of `delimiters`, none of them empty. Without delimiters
// the whole text is one piece.
B2_EXPORT std::vector<std::string> split_delim(const std::string& text,
                                               const std::string& delimiters);
B2_EXPORT std::vector<std::wstring> split_delim(const std::wstring& text,
                                                const std::wstring& delimiters);

B2_EXPORT std::string join(const std::vector<std::string>& items, std::string separator);

// Replaces in place and never looks at what it has inserted. An empty `from` changes nothing.
B2_EXPORT void replace_all(std::string& text, const std::string& from, const std::string& to);
B2_EXPORT void replace_all(std::wstring& text, const std::wstring& from, const std::wstring& to);

// Removes ASCII white space from both ends, in place, and returns `text`.
B2_EXPORT std::string& trim(std::string& text);

B2_EXPORT bool ends_with(const std::string& text, const std::string& suffix);

namespace util {

// `text` with its ASCII letters in lower case, whatever the locale.
std::string LowerCase(std::string text);

}  // namespace util

// UTF-8 to and from one code point per wide character. Nothing is refused: each byte that belongs
// to no well-formed sequence, and each wide character that is no code point, becomes U+FFFD.
B2_EXPORT std::wstring s2ws(const std::string& text);
B2_EXPORT std::string ws2s(const std::wstring& text);
