#pragma once

#include <RZFilterFunc/decimate/CFirFunc.h>

namespace rzf {

// One stage: filters the nIn new samples that follow the m_nTaps - 1 history
// samples in buf, keeps every m_nFactor-th result in dst (nIn / m_nFactor of
// them), then moves the last m_nTaps - 1 samples to the front as the next
// history. Each output is summed in single precision in increasing tap order.
void FilterDecimate(const DecimStageDesc& stage, float* buf, float* dst, int nIn);

// Runs a channel's whole cascade for nOut final outputs; the channel's input
// (m_nInPerOut[0] * nOut samples) is already at m_pWrite.
void ProcessCascade(const DecimRatioDesc& desc, FirChannelState& chn, float* out, int nOut);

}  // namespace rzf
