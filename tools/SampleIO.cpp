#include "SampleIO.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <optional>
#include <system_error>

#ifdef _WIN32
#include <fcntl.h>
#include <io.h>
#endif

namespace rzft {

namespace {

std::string Lower(std::string s) {
    std::transform(s.begin(), s.end(), s.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return s;
}

std::string Trim(const std::string& s) {
    size_t b = 0;
    size_t e = s.size();
    while (b < e && (s[b] == ' ' || s[b] == '\t')) {
        ++b;
    }
    while (e > b && (s[e - 1] == ' ' || s[e - 1] == '\t')) {
        --e;
    }
    return s.substr(b, e - b);
}

bool ParseNumber(const std::string& field, double& value) {
    const std::string t = Trim(field);
    if (t.empty()) {
        return false;
    }
    errno = 0;
    char* end = nullptr;
    value = std::strtod(t.c_str(), &end);
    return end == t.c_str() + t.size() && errno != ERANGE;
}

std::vector<std::string> SplitCsv(const std::string& line) {
    std::vector<std::string> fields;
    size_t start = 0;
    for (;;) {
        const size_t comma = line.find(',', start);
        if (comma == std::string::npos) {
            fields.push_back(line.substr(start));
            return fields;
        }
        fields.push_back(line.substr(start, comma - start));
        start = comma + 1;
    }
}

}  // namespace

SampleFormat ParseFormat(const std::string& name, const std::string& path) {
    const std::string n = Lower(name);
    if (n == "int16" || n == "i16" || n == "s16") {
        return SampleFormat::Int16;
    }
    if (n == "int32" || n == "i32" || n == "s32") {
        return SampleFormat::Int32;
    }
    if (n == "float32" || n == "f32" || n == "float") {
        return SampleFormat::Float32;
    }
    if (n == "int24" || n == "i24" || n == "s24") {
        return SampleFormat::Int24;
    }
    if (n == "csv") {
        return SampleFormat::Csv;
    }
    if (n == "auto") {
        if (path == kStdStream) {
            throw ToolError(
                "standard input has no file name to tell its format by; give --format "
                "int16|int32|float32|int24|csv",
                kExitUsage);
        }
        const std::string ext = Lower(std::filesystem::path(path).extension().string());
        if (ext == ".csv" || ext == ".txt") {
            return SampleFormat::Csv;
        }
        if (ext == ".i16" || ext == ".s16") {
            return SampleFormat::Int16;
        }
        if (ext == ".i32" || ext == ".s32") {
            return SampleFormat::Int32;
        }
        if (ext == ".f32") {
            return SampleFormat::Float32;
        }
        if (ext == ".i24" || ext == ".s24") {
            return SampleFormat::Int24;
        }
        throw ToolError("cannot tell the format of " + path +
                            " from its name; give --format int16|int32|float32|int24|csv",
                        kExitUsage);
    }
    throw ToolError("unknown sample format '" + name + "' (int16, int32, float32, int24, csv)",
                    kExitUsage);
}

std::optional<SampleFormat> FormatOfExtension(const std::string& path, bool* rawFamily) {
    const std::string ext = Lower(std::filesystem::path(path).extension().string());
    *rawFamily = ext == ".raw" || ext == ".bin" || ext == ".dat" || ext == ".pcm";
    if (ext == ".csv" || ext == ".txt") {
        return SampleFormat::Csv;
    }
    if (ext == ".i16" || ext == ".s16") {
        return SampleFormat::Int16;
    }
    if (ext == ".i32" || ext == ".s32") {
        return SampleFormat::Int32;
    }
    if (ext == ".f32") {
        return SampleFormat::Float32;
    }
    if (ext == ".i24" || ext == ".s24") {
        return SampleFormat::Int24;
    }
    return std::nullopt;
}

std::string ExtensionMismatch(const std::string& path, SampleFormat written) {
    if (path == kStdStream) {
        return {};
    }
    bool rawFamily = false;
    const std::optional<SampleFormat> named = FormatOfExtension(path, &rawFamily);
    const bool writesCsv = written == SampleFormat::Csv;
    if ((writesCsv && (rawFamily || (named && *named != SampleFormat::Csv))) ||
        (!writesCsv && named && *named != written)) {
        return path + " receives " + (writesCsv ? "CSV text" : FormatName(written) + " samples") +
               ", which its extension does not suggest";
    }
    return {};
}

std::string FormatName(SampleFormat format) {
    switch (format) {
        case SampleFormat::Int16:
            return "int16";
        case SampleFormat::Int32:
            return "int32";
        case SampleFormat::Float32:
            return "float32";
        case SampleFormat::Int24:
            return "int24";
        case SampleFormat::Csv:
            return "csv";
    }
    return "?";
}

RawLayout LayoutOf(SampleFormat format) {
    switch (format) {
        case SampleFormat::Int16:
            return {0, 2};
        case SampleFormat::Int32:
            return {2, 4};
        case SampleFormat::Int24:
            return {3, 3};
        case SampleFormat::Float32:
        case SampleFormat::Csv:
            return {1, 4};
    }
    return {1, 4};
}

FrameReader::FrameReader(const std::string& path, SampleFormat format, int channels)
    : m_path(path), m_format(format), m_layout(LayoutOf(format)), m_channels(channels) {
    const bool sizeKnown = OpenInput();
    if (format != SampleFormat::Csv) {
        CheckRawSize(sizeKnown);
    } else {
        ReadCsvHeader();
    }
}

// Opens the file (or takes standard input); true when its size is known.
bool FrameReader::OpenInput() {
    if (m_path == kStdStream) {
#ifdef _WIN32
        _setmode(_fileno(stdin), _O_BINARY);
#endif
        m_file = stdin;
        m_ownsFile = false;
        return false;
    }
    m_file = std::fopen(m_path.c_str(), "rb");
    if (m_file == nullptr) {
        throw ToolError("cannot open " + m_path + ": " + std::strerror(errno), kExitIo);
    }
    std::error_code ec;
    const auto size = std::filesystem::file_size(m_path, ec);
    m_bytesTotal = ec ? 0 : static_cast<std::uint64_t>(size);
    return !ec;
}

// Raw input: whole frames of the stated channel count, and at least one.
void FrameReader::CheckRawSize(bool sizeKnown) const {
    if (m_channels < 1) {
        throw ToolError("raw input needs --channels (at least 1)", kExitUsage);
    }
    const std::uint64_t frameBytes = static_cast<std::uint64_t>(m_channels) * m_layout.width;
    if (sizeKnown && m_bytesTotal % frameBytes != 0) {
        throw ToolError(m_path + " is truncated: " + std::to_string(m_bytesTotal) +
                            " bytes is not a whole number of " + std::to_string(frameBytes) +
                            "-byte frames (" + std::to_string(m_channels) + " channels of " +
                            FormatName(m_format) + ")",
                        kExitIo);
    }
    if (sizeKnown && m_bytesTotal == 0) {
        throw ToolError(m_path + " holds no samples", kExitIo);
    }
}

// CSV: the first non-empty line is a header when any field is not a number;
// it also fixes the channel count.
void FrameReader::ReadCsvHeader() {
    std::string first;
    if (!ReadCsvLine(first)) {
        throw ToolError(m_path + " holds no samples", kExitIo);
    }
    const std::vector<std::string> fields = SplitCsv(first);
    bool numeric = true;
    double v = 0.0;
    for (const std::string& f : fields) {
        numeric = numeric && ParseNumber(f, v);
    }
    const int columns = static_cast<int>(fields.size());
    if (m_channels == 0) {
        m_channels = columns;
    } else if (m_channels != columns) {
        throw ToolError(m_path + " line " + std::to_string(m_line) + ": " +
                            std::to_string(columns) + " columns, but --channels is " +
                            std::to_string(m_channels),
                        kExitUsage);
    }
    if (numeric) {
        m_pendingLine = first;
        m_hasPending = true;
    } else {
        m_header = first;
    }
}

FrameReader::~FrameReader() {
    if (m_file != nullptr && m_ownsFile) {
        std::fclose(m_file);
    }
}

bool FrameReader::ReadCsvLine(std::string& line) {
    for (;;) {
        line.clear();
        int c;
        bool any = false;
        while ((c = std::fgetc(m_file)) != EOF) {
            any = true;
            ++m_bytesDone;
            if (c == '\n') {
                break;
            }
            line += static_cast<char>(c);
        }
        if (!any) {
            if (std::ferror(m_file)) {
                throw ToolError("cannot read " + m_path + ": " + std::strerror(errno), kExitIo);
            }
            return false;
        }
        ++m_line;
        if (!line.empty() && line.back() == '\r') {
            line.pop_back();
        }
        if (!Trim(line).empty()) {
            return true;
        }
    }
}

bool FrameReader::ParseCsvRow(const std::string& line, std::vector<double>& values) const {
    const std::vector<std::string> fields = SplitCsv(line);
    if (static_cast<int>(fields.size()) != m_channels) {
        throw ToolError(m_path + " line " + std::to_string(m_line) + ": " +
                            std::to_string(fields.size()) + " columns where " +
                            std::to_string(m_channels) + " were expected",
                        kExitIo);
    }
    values.resize(fields.size());
    for (size_t i = 0; i < fields.size(); ++i) {
        if (!ParseNumber(fields[i], values[i])) {
            throw ToolError(m_path + " line " + std::to_string(m_line) + ", column " +
                                std::to_string(i + 1) + ": '" + Trim(fields[i]) +
                                "' is not a number",
                            kExitIo);
        }
    }
    return true;
}

size_t FrameReader::Read(std::vector<char>& buf, size_t maxFrames) {
    const size_t frameBytes = static_cast<size_t>(m_channels) * m_layout.width;
    // One spare frame: the decimator may write a whole frame completed by
    // samples carried from an earlier call, even after a shorter input.
    if (buf.size() < (maxFrames + 1) * frameBytes) {
        buf.resize((maxFrames + 1) * frameBytes);
    }
    if (m_format != SampleFormat::Csv) {
        const size_t got = std::fread(buf.data(), 1, maxFrames * frameBytes, m_file);
        m_bytesDone += got;
        if (got < maxFrames * frameBytes && std::ferror(m_file)) {
            throw ToolError("cannot read " + m_path + ": " + std::strerror(errno), kExitIo);
        }
        if (got % frameBytes != 0) {
            throw ToolError(m_path + " is truncated: it ends " + std::to_string(got % frameBytes) +
                                " bytes into a " + std::to_string(frameBytes) + "-byte frame",
                            kExitIo);
        }
        return got / frameBytes;
    }
    size_t frames = 0;
    std::string line;
    while (frames < maxFrames) {
        if (m_hasPending) {
            line = m_pendingLine;
            m_hasPending = false;
        } else if (!ReadCsvLine(line)) {
            break;
        }
        ParseCsvRow(line, m_row);
        for (int c = 0; c < m_channels; ++c) {
            const float f = static_cast<float>(m_row[static_cast<size_t>(c)]);
            std::memcpy(buf.data() + frames * frameBytes + static_cast<size_t>(c) * 4, &f, 4);
        }
        ++frames;
    }
    return frames;
}

FrameWriter::FrameWriter(OutputFile& out, SampleFormat format, int channels,
                         const std::string& header)
    : m_out(out), m_format(format), m_layout(LayoutOf(format)), m_channels(channels) {
    m_out.Open();
    if (format == SampleFormat::Csv && !header.empty()) {
        m_out.Write(header.data(), header.size());
        m_out.Write("\n", 1);
    }
}

void FrameWriter::Write(const char* data, size_t frames) {
    const size_t frameBytes = static_cast<size_t>(m_channels) * m_layout.width;
    if (m_format != SampleFormat::Csv) {
        m_out.Write(data, frames * frameBytes);
        return;
    }
    m_text.clear();
    char buf[32];
    for (size_t j = 0; j < frames; ++j) {
        for (int c = 0; c < m_channels; ++c) {
            float f;
            std::memcpy(&f, data + j * frameBytes + static_cast<size_t>(c) * 4, 4);
            // Nine significant digits bring every float back exactly.
            std::snprintf(buf, sizeof buf, c == 0 ? "%.9g" : ",%.9g", static_cast<double>(f));
            m_text += buf;
        }
        m_text += '\n';
    }
    m_out.Write(m_text.data(), m_text.size());
}

}  // namespace rzft
