#pragma once

#include <string>

namespace rzft {

// English gloss of one of the library's GBK refusal messages (matched on the
// exact bytes); empty when the message is not one the tool knows.
std::string EnglishGloss(const std::string& gbk);

// How the tool shows a library message: the original converted to UTF-8,
// followed by its English gloss in parentheses when there is one.
std::string ShowLibraryMessage(const std::string& gbk);

// Prints "rzfilter: warning: <text>" on stderr.
void Warn(const std::string& text);
// Prints "rzfilter: note: <text>" on stderr.
void Note(const std::string& text);

}  // namespace rzft
