#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "OutputFile.h"

namespace rzft {

// Recording formats: raw interleaved little-endian frames of the library's
// sample types, or CSV text with one column per channel.
enum class SampleFormat { Int16, Int32, Float32, Int24, Csv };

// "int16", "int32", "float32", "int24", "csv", or "auto" (by file extension).
SampleFormat ParseFormat(const std::string& name, const std::string& path);
std::string FormatName(SampleFormat format);
// A warning when the extension of the output path names another format than
// the one written (CSV text into x.raw, float32 samples into x.i16); empty
// when they agree or the extension says nothing.
std::string ExtensionMismatch(const std::string& path, SampleFormat written);

// How samples sit in the buffers handed to the library: its type code and
// bytes per sample. CSV is carried as float samples.
struct RawLayout {
    int type;
    int width;
};
RawLayout LayoutOf(SampleFormat format);

// Streams whole frames from a recording; memory use is one block.
class FrameReader {
public:
    // channels: required for raw formats; for CSV 0 means "as many as columns".
    // The path "-" reads standard input.
    FrameReader(const std::string& path, SampleFormat format, int channels);
    FrameReader(const FrameReader&) = delete;
    FrameReader& operator=(const FrameReader&) = delete;
    ~FrameReader();

    int Channels() const { return m_channels; }
    const std::string& Header() const { return m_header; }
    std::uint64_t BytesTotal() const { return m_bytesTotal; }
    std::uint64_t BytesDone() const { return m_bytesDone; }

    // Reads up to maxFrames frames in the raw layout into buf (resized to hold
    // maxFrames + 1 frames); returns the frame count, 0 at the end. Malformed or truncated
    // input throws ToolError.
    size_t Read(std::vector<char>& buf, size_t maxFrames);

private:
    bool OpenInput();
    void CheckRawSize(bool sizeKnown) const;
    void ReadCsvHeader();
    bool ReadCsvLine(std::string& line);
    bool ParseCsvRow(const std::string& line, std::vector<double>& values) const;

    std::string m_path;
    SampleFormat m_format;
    RawLayout m_layout;
    int m_channels;
    std::FILE* m_file = nullptr;
    bool m_ownsFile = true;  // false for standard input
    std::string m_header;
    std::string m_pendingLine;  // first CSV data row, read while probing for a header
    bool m_hasPending = false;
    std::uint64_t m_line = 0;
    std::uint64_t m_bytesTotal = 0;
    std::uint64_t m_bytesDone = 0;
    std::vector<double> m_row;
};

// Writes frames in the reader's format to an OutputFile.
class FrameWriter {
public:
    FrameWriter(OutputFile& out, SampleFormat format, int channels, const std::string& header);
    void Write(const char* data, size_t frames);

private:
    OutputFile& m_out;
    SampleFormat m_format;
    RawLayout m_layout;
    int m_channels;
    std::string m_text;
};

}  // namespace rzft
