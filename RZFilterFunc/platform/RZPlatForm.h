#pragma once

#include <RZFilterFunc/RZFilterFunc_export.h>

// Stand-in for the host platform's trace facility. The library sends each
// validation failure of a filter design here as one zero-terminated GBK line.
class RZFILTERFUNC_EXPORT CRZPlatForm {
public:
    // Receives one trace line; context is the pointer given to SetTraceSink.
    using TraceSink = void (*)(const char* text, void* context);

    static void RZTRACE(const char* text);

    // Routes trace lines to sink instead of the default output (stderr).
    // Passing a null sink restores the default. Returns the previous sink
    // (null when the default was active) and, through previousContext if
    // given, its context, so that a caller can restore it afterwards.
    static TraceSink SetTraceSink(TraceSink sink, void* context, void** previousContext = nullptr);
};
