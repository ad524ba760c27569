#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include <RZFilterFunc/RZFilterFunc_export.h>
#include <RZFilterFunc/base/ClassicFilter.h>
#include <RZFilterFunc/base/FilterTypes.h>

// Front end of the filter designer: holds a specification, validates it,
// designs the filter it names, filters float blocks with it and prepares its
// response for display.
//
// Copies are shallow, as callers expect: after a = b both objects use the same
// filter object and state array. Ownership of those is shared, so each object
// may be destroyed or redesigned independently without a double release.
class RZFILTERFUNC_EXPORT FilterUser {
public:
    FilterUser();
    FilterUser(const FilterUser& other);
    FilterUser& operator=(const FilterUser& other);
    ~FilterUser();

    // Stores a whole specification (f1..f4 in ascending rank); both m_nOrder and
    // m_nFIRLength receive orderOrLength. Restarts the block filter's state.
    void setFilterParameter(int bandType, int designMethod, double f1, double f2, double f3,
                            double f4, double sampleFreq, int orderOrLength, double passRipple,
                            double stopAtten, double reserved);
    void setWindowType(int windowType);

    // Replaces the current filter by a new object of the method's class; a
    // method without a class leaves no filter.
    void GetNewFilter(DESIGN_METHOD method);
    // Validates and designs. The result says only whether validation passed;
    // GetIsStability and GetErrorMessage tell how the design went.
    bool DesignFilter();
    std::string GetErrorMessage();  // GBK bytes
    bool GetIsStability();

    // Filters count samples; in and out may be the same array. State carries
    // over between calls.
    void FilterData(float* in, float* out, int count);
    void setFirstInputState(bool first);

    // Moving-average smoother of a whole record, zero-phase when long enough.
    static void PingJunFilter(float* in, int count, float sampleFreq, float cutoff, float* out);

    void getUnwrapedPhase();
    // Copies this specification into target, designs there and, when stable,
    // computes target's axis limits.
    void InitDes(FilterUser& target);
    void GetMaxMin();

protected:
    bool JudgeIsValidData();
    static void InputToFilter(float* in, int count, float* coef, int taps, float* out);
    static void Fir_Filter(float* data, int count, float* coef, int taps);

private:
    void DisposeUserFilter();
    void DisposeFilterTemp();
    // Replaces the state by length zeros (no array for length < 1).
    void RebuildState(int length);
    // Keeps the state in step with the branch about to run: a fresh start when
    // m_bFirstInput is set; otherwise the array held carries on, and is rebuilt
    // with zeros only when it is shorter than the current design needs (a
    // redesign without a restart may lengthen it), so the loops never leave it.
    void PrepareState(int length);

public:
    ClassicFilter* m_pFilter;
    double* m_pState;

    // Specification.
    int m_nBandType;
    int m_nOrder;
    int m_nDesignMethod;
    int m_nWindowType;
    double m_dSampleFreq;
    double m_dPassRipple;
    double m_dStopAtten;
    double m_dFreq1;
    double m_dFreq3;
    double m_dFreq2;
    double m_dFreq4;
    int m_nIIROrder;
    int m_nFIRLength;
    double m_dReserved;

    // Display limits written by GetMaxMin (the outer two are only cleared).
    std::int64_t m_nAxisReserved1;
    double m_dMaxValue;
    double m_dMinValue;
    std::int64_t m_nAxisReserved2;
    std::int64_t m_nReserved3;
    std::int64_t m_nReserved4;

    bool m_bFirstInput;

private:
    // Shared ownership behind m_pFilter and m_pState.
    std::shared_ptr<ClassicFilter> m_filterOwner;
    std::shared_ptr<double[]> m_stateOwner;
    int m_nStateLength;  // entries of m_pState
};
