#include "TraceBinding.h"

#include <RZFilterFunc/RZFilterFunc.h>

namespace rzfpy {

namespace {

void ForwardToLogging(const char* text, void* /*context*/) {
    if (text == nullptr || Py_IsInitialized() == 0) {
        return;
    }
    py::gil_scoped_acquire gil;
    try {
        const py::object logger = py::module_::import("logging").attr("getLogger")("rzfilterfunc");
        logger.attr("debug")("library trace: %s", py::bytes(text).attr("decode")("gbk", "replace"));
    } catch (py::error_already_set&) {
        // Tracing must never turn into an error of the call that traced.
    }
}

void InstallSink() {
    CRZPlatForm::SetTraceSink(&ForwardToLogging, nullptr);
}

void RestoreSink() {
    CRZPlatForm::SetTraceSink(nullptr, nullptr);
}

}  // namespace

void BindTrace(py::module_& m) {
    InstallSink();
    m.def("_restore_trace_sink", &RestoreSink,
          "Sends the library's trace lines back to stderr (done at interpreter exit).");
    py::module_::import("atexit").attr("register")(m.attr("_restore_trace_sink"));
}

}  // namespace rzfpy
