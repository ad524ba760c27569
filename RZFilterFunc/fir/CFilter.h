#pragma once

#include <memory>
#include <vector>

#include <RZFilterFunc/RZFilterFunc_export.h>

// Per-sample FIR/IIR engine with its own history, for streams fed in blocks.
// Copies share the coefficient and state arrays (ownership is shared, so
// either copy may be destroyed first).
class RZFILTERFUNC_EXPORT CFilter {
public:
    CFilter();
    CFilter(const CFilter& other);
    CFilter& operator=(const CFilter& other);
    ~CFilter();

    // Kaiser FIR design from a normalised transition width (1.0 = Nyquist).
    // taps receives a new array (caller frees with delete[]); returns its size.
    // A sampling frequency that is not positive and finite, a transition
    // width that is not positive, a band type outside 1..4, or a design whose
    // taps would not all be finite gives 0 with taps null.
    static int DesignFilter(double*& taps, float fs, int bandType, float f1, float f2,
                            int attenuationDb, double transition);
    // Kaiser FIR design from four edges (pass, stop, stop, pass); returns 0 and
    // leaves taps null when the edges are in the wrong order or the design is
    // refused as above.
    static int DesignFilter(double*& taps, float fs, int bandType, float f1, float f2, float f3,
                            float f4, int attenuationDb);

    void SetFIRCoief(int count, double* taps);
    void SetIIRCoief(int count, double* a, double* b);
    void Reset();
    bool IsPrePare() const;
    bool IsIIRFilter() const;
    int GetDelCount() const;
    void SetDelCount(int n);

    // One sample; with no coefficients loaded the sample comes back unchanged.
    // A one-coefficient IIR set has no state and acts as the gain b[0].
    float FilterFIRData(float x);
    float FilterIIRData(float x);
    // Filters data[offset + i*stride], i = 0..count-1, in place. False when
    // unprepared; on a prepared engine count <= 0 does nothing and returns
    // true, and otherwise a null data or an index that would fall before
    // data[0] gives false with nothing changed.
    bool FilterData(float* data, int count, int stride, int offset);
    bool FilterData(short* data, int count, int stride, int offset);
    bool FilterData(int* data, int count, int stride, int offset);

    bool m_bPrepared;
    bool m_bResetPending;
    bool m_bIIR;
    int m_nDelCount;
    int m_nCoefCount;
    double* m_pCoefA;
    double* m_pCoefB;
    double* m_pState;
    double m_dLastOutput;
    int m_nIndex;

private:
    void Load(bool iir, int count, std::shared_ptr<double[]> coefA,
              std::shared_ptr<double[]> coefB);

    std::shared_ptr<double[]> m_coefAOwner;
    std::shared_ptr<double[]> m_coefBOwner;
    std::shared_ptr<double[]> m_stateOwner;
    // Working window of the FIR block path (history plus block), reused so that
    // streaming allocates nothing; holds no state of its own.
    std::vector<double> m_firWindow;

    // The block operations for each sample type.
    template <typename T>
    bool FilterBlock(T* data, int count, int stride, int offset);
};
