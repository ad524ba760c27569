#pragma once

#include <string>

namespace rzft {

// The library's messages are GBK bytes; terminals and JSON want UTF-8. Bytes
// that do not decode are shown as \xNN so nothing is silently lost.
std::string GbkToUtf8(const std::string& gbk);

}  // namespace rzft
