#pragma once
// Small text helpers shared by the model and the document.
#include <string>
#include <string_view>

namespace brellow {

/// Removes white space and line breaks (Unicode White_Space) from both ends of UTF-8 text.
std::string trimWhitespace(std::string_view text);

/// Lower-cases UTF-8 text by Unicode rules; invalid UTF-8 is lower-cased byte-wise for ASCII.
std::string toLowerUnicode(std::string_view text);

/// Ends with `suffix`, compared byte for byte.
bool endsWith(std::string_view text, std::string_view suffix);

}  // namespace brellow
