#pragma once

#include <string>
#include <vector>

#include <RZFilterFunc/platform/RZPlatForm.h>

// Collects the library's trace lines for the lifetime of the object and
// restores the previous sink afterwards.
class TraceCapture {
public:
    TraceCapture() {
        previous_ = CRZPlatForm::SetTraceSink(&TraceCapture::Sink, this, &previousContext_);
    }
    ~TraceCapture() { CRZPlatForm::SetTraceSink(previous_, previousContext_); }
    TraceCapture(const TraceCapture&) = delete;
    TraceCapture& operator=(const TraceCapture&) = delete;

    const std::vector<std::string>& Lines() const { return lines_; }

private:
    static void Sink(const char* text, void* context) {
        static_cast<TraceCapture*>(context)->lines_.emplace_back(text);
    }

    std::vector<std::string> lines_;
    CRZPlatForm::TraceSink previous_ = nullptr;
    void* previousContext_ = nullptr;
};
