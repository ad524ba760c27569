#include "Messages.h"

#include <cstdio>
#include <map>

#include "Gbk.h"

namespace rzft {

namespace {

// The designer's messages, keyed by their GBK bytes exactly as the library
// returns them (the Chinese text is in the comment above each).
const std::map<std::string, std::string>& GlossTable() {
    static const std::map<std::string, std::string> table = {
        // 输入值必须大于0！ (17 bytes)
        {"\xCA\xE4\xC8\xEB\xD6\xB5\xB1\xD8\xD0\xEB\xB4\xF3\xD3\xDA\x30\xA3\xA1",
         "every frequency and the sampling rate must be greater than 0, and so must the ripple and "
         "the attenuation"},
        // 输入的频率应小于等于采样频率/2.56！ (35 bytes)
        {"\xCA\xE4\xC8\xEB\xB5\xC4\xC6\xB5\xC2\xCA\xD3\xA6\xD0\xA1\xD3\xDA\xB5\xC8\xD3\xDA"
         "\xB2\xC9\xD1\xF9\xC6\xB5\xC2\xCA\x2F\x32\x2E\x35\x36\xA3\xA1",
         "the highest band edge the design uses must not exceed the sampling rate / 2.56"},
        // 输入的频率应小于等于采样频率/2.0！ (34 bytes)
        {"\xCA\xE4\xC8\xEB\xB5\xC4\xC6\xB5\xC2\xCA\xD3\xA6\xD0\xA1\xD3\xDA\xB5\xC8\xD3\xDA"
         "\xB2\xC9\xD1\xF9\xC6\xB5\xC2\xCA\x2F\x32\x2E\x30\xA3\xA1",
         "the highest band edge the design uses must not exceed the sampling rate / 2"},
        // 阻带衰减范围20-160dB！ (22 bytes)
        {"\xD7\xE8\xB4\xF8\xCB\xA5\xBC\xF5\xB7\xB6\xCE\xA7\x32\x30\x2D\x31\x36\x30\x64\x42"
         "\xA3\xA1",
         "the stop-band attenuation must be between 20 and 160 dB"},
        // 阻带边界频率应大于通带边界频率！ (32 bytes)
        {"\xD7\xE8\xB4\xF8\xB1\xDF\xBD\xE7\xC6\xB5\xC2\xCA\xD3\xA6\xB4\xF3\xD3\xDA\xCD\xA8"
         "\xB4\xF8\xB1\xDF\xBD\xE7\xC6\xB5\xC2\xCA\xA3\xA1",
         "the stop-band edge f2 must be above the pass-band edge f1"},
        // 通带边界频率应大于阻带边界频率！ (32 bytes)
        {"\xCD\xA8\xB4\xF8\xB1\xDF\xBD\xE7\xC6\xB5\xC2\xCA\xD3\xA6\xB4\xF3\xD3\xDA\xD7\xE8"
         "\xB4\xF8\xB1\xDF\xBD\xE7\xC6\xB5\xC2\xCA\xA3\xA1",
         "the pass-band edge f2 must be above the stop-band edge f1"},
        // 通带下边界频率应大于阻带下边界频率！ (36 bytes)
        {"\xCD\xA8\xB4\xF8\xCF\xC2\xB1\xDF\xBD\xE7\xC6\xB5\xC2\xCA\xD3\xA6\xB4\xF3\xD3\xDA"
         "\xD7\xE8\xB4\xF8\xCF\xC2\xB1\xDF\xBD\xE7\xC6\xB5\xC2\xCA\xA3\xA1",
         "the lower pass-band edge f2 must be above the lower stop-band edge f1"},
        // 阻带上边界频率应大于通带上边界频率！ (36 bytes)
        {"\xD7\xE8\xB4\xF8\xC9\xCF\xB1\xDF\xBD\xE7\xC6\xB5\xC2\xCA\xD3\xA6\xB4\xF3\xD3\xDA"
         "\xCD\xA8\xB4\xF8\xC9\xCF\xB1\xDF\xBD\xE7\xC6\xB5\xC2\xCA\xA3\xA1",
         "the upper stop-band edge f4 must be above the upper pass-band edge f3"},
        // 通带上边界频率应大于通带下边界频率！ (36 bytes)
        {"\xCD\xA8\xB4\xF8\xC9\xCF\xB1\xDF\xBD\xE7\xC6\xB5\xC2\xCA\xD3\xA6\xB4\xF3\xD3\xDA"
         "\xCD\xA8\xB4\xF8\xCF\xC2\xB1\xDF\xBD\xE7\xC6\xB5\xC2\xCA\xA3\xA1",
         "the upper pass-band edge must be above the lower one (f3 above f2; window FIR: f2 above "
         "f1)"},
        // 阻带下边界频率应大于通带下边界频率！ (36 bytes)
        {"\xD7\xE8\xB4\xF8\xCF\xC2\xB1\xDF\xBD\xE7\xC6\xB5\xC2\xCA\xD3\xA6\xB4\xF3\xD3\xDA"
         "\xCD\xA8\xB4\xF8\xCF\xC2\xB1\xDF\xBD\xE7\xC6\xB5\xC2\xCA\xA3\xA1",
         "the lower stop-band edge f2 must be above the lower pass-band edge f1"},
        // 通带上边界频率应大于阻带上边界频率！ (36 bytes)
        {"\xCD\xA8\xB4\xF8\xC9\xCF\xB1\xDF\xBD\xE7\xC6\xB5\xC2\xCA\xD3\xA6\xB4\xF3\xD3\xDA"
         "\xD7\xE8\xB4\xF8\xC9\xCF\xB1\xDF\xBD\xE7\xC6\xB5\xC2\xCA\xA3\xA1",
         "the upper pass-band edge f4 must be above the upper stop-band edge f3"},
        // 阻带上边界频率应大于阻带下边界频率！ (36 bytes)
        {"\xD7\xE8\xB4\xF8\xC9\xCF\xB1\xDF\xBD\xE7\xC6\xB5\xC2\xCA\xD3\xA6\xB4\xF3\xD3\xDA"
         "\xD7\xE8\xB4\xF8\xCF\xC2\xB1\xDF\xBD\xE7\xC6\xB5\xC2\xCA\xA3\xA1",
         "the upper stop-band edge f3 must be above the lower stop-band edge f2"},
        // 阶数太大，滤波器不稳定，返回 (28 bytes)
        {"\xBD\xD7\xCA\xFD\xCC\xAB\xB4\xF3\xA3\xAC\xC2\xCB\xB2\xA8\xC6\xF7\xB2\xBB\xCE\xC8"
         "\xB6\xA8\xA3\xAC\xB7\xB5\xBB\xD8",
         "the filter order this specification needs is outside the designer's range: 3 to 10 for "
         "low- and high-pass designs, up to 15 (Butterworth) or 12 (Chebyshev) for band designs; "
         "the library says 'too large' also when the order would be below 3"},
    };
    return table;
}

}  // namespace

std::string EnglishGloss(const std::string& gbk) {
    const auto& table = GlossTable();
    const auto it = table.find(gbk);
    return it == table.end() ? std::string() : it->second;
}

std::string ShowLibraryMessage(const std::string& gbk) {
    const std::string utf8 = GbkToUtf8(gbk);
    const std::string gloss = EnglishGloss(gbk);
    return gloss.empty() ? utf8 : utf8 + " (" + gloss + ")";
}

void Warn(const std::string& text) {
    std::fflush(stdout);
    std::fprintf(stderr, "rzfilter: warning: %s\n", text.c_str());
}

void Note(const std::string& text) {
    std::fflush(stdout);
    std::fprintf(stderr, "rzfilter: note: %s\n", text.c_str());
}

}  // namespace rzft
