#pragma once

// Band type codes (ClassicFilter::m_nBandType, FilterUser::m_nBandType,
// CKaiserFilter and CFilter::DesignFilter).
enum BAND_TYPE {
    BAND_LOWPASS = 1,
    BAND_HIGHPASS = 2,
    BAND_BANDPASS = 3,
    BAND_BANDSTOP = 4,
};

// Design method codes (FilterUser::m_nDesignMethod).
enum DESIGN_METHOD {
    DM_BUTTERWORTH = 0,
    DM_CHEBYSHEV1 = 1,
    DM_CHEBYSHEV2 = 2,
    DM_WINDOW_FIR = 3,
    DM_RESERVED = 4,  // validated, but no filter class exists for it
    DM_AVERAGE = 5,
};
