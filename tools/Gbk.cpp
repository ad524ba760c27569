#include "Gbk.h"

#include <cstdio>

#ifdef _WIN32
#include <windows.h>
#else
#include <iconv.h>

#include <cerrno>
#endif

namespace rzft {

namespace {

void AppendEscaped(std::string& out, unsigned char byte) {
    char buf[5];
    std::snprintf(buf, sizeof buf, "\\x%02X", byte);
    out += buf;
}

std::string EscapeNonAscii(const std::string& text) {
    std::string out;
    for (unsigned char c : text) {
        if (c < 0x80) {
            out += static_cast<char>(c);
        } else {
            AppendEscaped(out, c);
        }
    }
    return out;
}

}  // namespace

#ifdef _WIN32

std::string GbkToUtf8(const std::string& gbk) {
    if (gbk.empty()) {
        return {};
    }
    const int size = static_cast<int>(gbk.size());
    const int wide = MultiByteToWideChar(936, MB_ERR_INVALID_CHARS, gbk.data(), size, nullptr, 0);
    if (wide <= 0) {
        return EscapeNonAscii(gbk);
    }
    std::wstring w(static_cast<size_t>(wide), L'\0');
    MultiByteToWideChar(936, MB_ERR_INVALID_CHARS, gbk.data(), size, w.data(), wide);
    const int bytes = WideCharToMultiByte(CP_UTF8, 0, w.data(), wide, nullptr, 0, nullptr, nullptr);
    if (bytes <= 0) {
        return EscapeNonAscii(gbk);
    }
    std::string out(static_cast<size_t>(bytes), '\0');
    WideCharToMultiByte(CP_UTF8, 0, w.data(), wide, out.data(), bytes, nullptr, nullptr);
    return out;
}

#else

std::string GbkToUtf8(const std::string& gbk) {
    if (gbk.empty()) {
        return {};
    }
    iconv_t cd = iconv_open("UTF-8", "GBK");
    if (cd == reinterpret_cast<iconv_t>(-1)) {
        return EscapeNonAscii(gbk);
    }
    std::string out;
    std::string input = gbk;
    char* in = input.data();
    size_t inLeft = input.size();
    char buf[256];
    while (inLeft > 0) {
        char* outPtr = buf;
        size_t outLeft = sizeof buf;
        const size_t rc = iconv(cd, &in, &inLeft, &outPtr, &outLeft);
        out.append(buf, static_cast<size_t>(outPtr - buf));
        if (rc == static_cast<size_t>(-1)) {
            if (errno == E2BIG) {
                continue;
            }
            // Invalid or incomplete sequence: show the byte and resynchronise.
            AppendEscaped(out, static_cast<unsigned char>(*in));
            ++in;
            --inLeft;
            iconv(cd, nullptr, nullptr, nullptr, nullptr);
        }
    }
    iconv_close(cd);
    return out;
}

#endif

}  // namespace rzft
