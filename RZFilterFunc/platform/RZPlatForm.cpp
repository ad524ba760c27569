#include "RZFilterFunc/platform/RZPlatForm.h"

#include <cstdio>

namespace {
CRZPlatForm::TraceSink g_sink = nullptr;
void* g_sinkContext = nullptr;
}  // namespace

void CRZPlatForm::RZTRACE(const char* text) {
    if (text == nullptr) {
        return;
    }
    if (g_sink != nullptr) {
        g_sink(text, g_sinkContext);
        return;
    }
    std::fprintf(stderr, "%s\n", text);
}

CRZPlatForm::TraceSink CRZPlatForm::SetTraceSink(TraceSink sink, void* context,
                                                 void** previousContext) {
    TraceSink previous = g_sink;
    if (previousContext != nullptr) {
        *previousContext = g_sinkContext;
    }
    g_sink = sink;
    g_sinkContext = sink != nullptr ? context : nullptr;
    return previous;
}
