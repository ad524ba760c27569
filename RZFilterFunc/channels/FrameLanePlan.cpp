#include "RZFilterFunc/channels/FrameLanePlan.h"

#include <algorithm>
#include <functional>

namespace rzf::detail {

FrameLanePlan::FrameLanePlan(int channelCount) {
    const std::size_t n = channelCount > 0 ? static_cast<std::size_t>(channelCount) : 0;
    m_lanes.reserve(n);
    m_perChannel.reserve(n);
    m_perChannelStates.reserve(n);
    m_taken.reserve(n);
    m_stateOrder.reserve(n);
}

void FrameLanePlan::Begin() {
    m_lanes.clear();
    m_perChannel.clear();
    m_perChannelStates.clear();
}

void FrameLanePlan::AddIir(int channel, std::size_t offset, IirForm form, int order,
                           const double* b, const double* a, double* state) {
    m_lanes.push_back(Lane{Kind::Iir, form, false, order, channel, offset, b, a, state});
}

void FrameLanePlan::AddFir(int channel, std::size_t offset, bool roundProducts, int length,
                           const double* taps, double* state) {
    m_lanes.push_back(Lane{Kind::Fir, IirForm::Designer, roundProducts, length, channel, offset,
                           taps, nullptr, state});
}

void FrameLanePlan::AddPerChannel(int channel, const double* state) {
    m_perChannel.push_back(channel);
    if (state != nullptr) {
        m_perChannelStates.push_back(state);
    }
}

bool FrameLanePlan::SameGroup(const Lane& x, const Lane& y) const {
    return x.kind == y.kind && x.order == y.order &&
           (x.kind == Kind::Iir ? x.form == y.form : x.roundProducts == y.roundProducts);
}

bool FrameLanePlan::StatesAreDistinct() {
    m_stateOrder.clear();
    for (const Lane& lane : m_lanes) {
        m_stateOrder.push_back(lane.state);
    }
    m_stateOrder.insert(m_stateOrder.end(), m_perChannelStates.begin(), m_perChannelStates.end());
    std::sort(m_stateOrder.begin(), m_stateOrder.end(), std::less<const double*>());
    return std::adjacent_find(m_stateOrder.begin(), m_stateOrder.end()) == m_stateOrder.end();
}

bool FrameLanePlan::Run(const FrameBlock& block) {
    if (!StatesAreDistinct()) {
        return false;
    }
    const FrameKernelSet& kernels = ActiveFrameKernels();
    const int maxLanes = 2 * kernels.registerLanes;
    m_taken.assign(m_lanes.size(), 0);
    for (std::size_t i = 0; i < m_lanes.size(); ++i) {
        if (m_taken[i] != 0) {
            continue;
        }
        if (m_lanes[i].kind == Kind::Iir) {
            const bool wide = m_lanes[i].order <= kernels.wideIirMaxOrder;
            RunIirGroup(kernels, block, i, wide ? maxLanes : kernels.registerLanes);
        } else {
            RunFirGroup(kernels, block, i, maxLanes);
        }
    }
    return true;
}

// Channels of the first lane's kind and order, in channel order, up to a
// kernel call's lanes.
void FrameLanePlan::RunIirGroup(const FrameKernelSet& kernels, const FrameBlock& block,
                                std::size_t first, int maxLanes) {
    IirLanes group;
    group.form = m_lanes[first].form;
    group.order = m_lanes[first].order;
    group.count = 0;
    for (std::size_t i = first; i < m_lanes.size() && group.count < maxLanes; ++i) {
        const Lane& lane = m_lanes[i];
        if (m_taken[i] != 0 || !SameGroup(lane, m_lanes[first])) {
            continue;
        }
        m_taken[i] = 1;
        group.offset[group.count] = lane.offset;
        group.b[group.count] = lane.b;
        group.a[group.count] = lane.a;
        group.state[group.count] = lane.state;
        ++group.count;
    }
    kernels.runIir(group, block);
}

void FrameLanePlan::RunFirGroup(const FrameKernelSet& kernels, const FrameBlock& block,
                                std::size_t first, int maxLanes) {
    FirLanes group;
    int channel = m_lanes[first].channel;
    group.roundProducts = m_lanes[first].roundProducts;
    group.length = m_lanes[first].order;
    group.count = 0;
    for (std::size_t i = first; i < m_lanes.size() && group.count < maxLanes; ++i) {
        const Lane& lane = m_lanes[i];
        if (m_taken[i] != 0 || !SameGroup(lane, m_lanes[first])) {
            continue;
        }
        m_taken[i] = 1;
        group.offset[group.count] = lane.offset;
        group.taps[group.count] = lane.b;
        channel = lane.channel;
        group.state[group.count] = lane.state;
        ++group.count;
    }
    if (group.count == 1) {
        m_perChannel.push_back(channel);
        return;
    }
    const std::size_t need = FirScratchDoubles(group.length, maxLanes);
    if (m_firScratch.size() < need) {
        m_firScratch.resize(need);
    }
    kernels.runFir(group, block, m_firScratch.data());
}

}  // namespace rzf::detail
