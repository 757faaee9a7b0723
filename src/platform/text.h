// Text helpers without output and without policy. All functions may be called from any thread.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace platform {

// Lower-cases the letters A to Z in place. Every other character keeps its value, whatever the
// locale says: stored addresses are compared with each other in this form.
void LowerAscii(std::wstring& text);

// The same for text in a code page, character by character: the second byte of a double-byte
// character may look like a letter.
void LowerAscii(std::string& text, unsigned codePage);

// Upper-cases the letters a to z in place and nothing else.
void UpperAscii(std::wstring& text);

// The text behind the last backslash of `path`, or the whole of it when there is none. A slash is
// no separator. The result points into `path`.
std::wstring_view FileNamePart(std::wstring_view path);

// The same for text in a code page. The second byte of a double-byte character is no backslash.
std::string_view FileNamePart(std::string_view path, unsigned codePage);

// `text` in a code page (CP_THREAD_ACP, CP_ACP, CP_UTF8, ...). Characters that the code page lacks
// come out as its replacement character; nothing comes back only when the system refuses the
// conversion.
std::optional<std::string> ToCodePage(std::wstring_view text, unsigned codePage);

// The wide text of `text`, which is in that code page.
std::wstring FromCodePage(std::string_view text, unsigned codePage);

}  // namespace platform
