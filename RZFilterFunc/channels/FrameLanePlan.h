#pragma once

#include <cstddef>
#include <vector>

#include "RZFilterFunc/channels/FrameKernels.h"

namespace rzf::detail {

// The channels of one frame-filter call that run in SIMD lanes. A call lists
// each such channel with its design and state, then Run groups channels of
// the same kind and order into kernel calls. Channels that cannot run in
// lanes are listed apart and left to the caller, in channel order.
//
// Storage is reserved for every channel when the plan is made, and the FIR
// scratch only grows, so a steady stream of calls allocates nothing.
class FrameLanePlan {
public:
    explicit FrameLanePlan(int channelCount);

    // Forgets the channels of the previous call.
    void Begin();
    void AddIir(int channel, std::size_t offset, IirForm form, int order, const double* b,
                const double* a, double* state);
    void AddFir(int channel, std::size_t offset, bool roundProducts, int length, const double* taps,
                double* state);
    // A channel the caller filters itself; state is its state array, if any.
    void AddPerChannel(int channel, const double* state);

    // Filters the listed lane channels of block. A FIR that no other channel
    // shares gains nothing from lanes and joins PerChannel() instead. False,
    // with nothing done, when two listed channels share one state array: their
    // order then matters, and the caller filters every channel one after
    // another instead.
    bool Run(const FrameBlock& block);

    // Channels the caller filters itself, after Run.
    const std::vector<int>& PerChannel() const { return m_perChannel; }

private:
    enum class Kind { Iir, Fir };
    struct Lane {
        Kind kind;
        IirForm form;
        bool roundProducts;
        int order;  // IIR order or FIR length
        int channel;
        std::size_t offset;
        const double* b;
        const double* a;
        double* state;
    };

    bool SameGroup(const Lane& x, const Lane& y) const;
    bool StatesAreDistinct();
    void RunIirGroup(const FrameKernelSet& kernels, const FrameBlock& block, std::size_t first,
                     int maxLanes);
    void RunFirGroup(const FrameKernelSet& kernels, const FrameBlock& block, std::size_t first,
                     int maxLanes);

    std::vector<Lane> m_lanes;
    std::vector<int> m_perChannel;
    std::vector<const double*> m_perChannelStates;
    std::vector<char> m_taken;
    std::vector<const double*> m_stateOrder;
    std::vector<double> m_firScratch;
};

}  // namespace rzf::detail
