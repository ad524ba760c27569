#pragma once

// The lane kernels, written once over a level's vector operations. Each kernel
// source defines its Ops (below) and includes this file; everything here lives
// in an unnamed namespace, so every level keeps its own copy and no code
// compiled for a wider instruction set can be shared with another level.
//
// Ops provides, for kLanes doubles in one register V:
//   Load(const double*), Store(double*, V), Add, Sub, Mul, Zero(),
//   RoundToFloat(V)          double -> float -> double
//   ReadInt16/ReadInt32/ReadFloat(const char*, double*)   kLanes adjacent samples
//   WriteInt16/WriteInt32/WriteFloat(const double*, char*)
// with exactly the conversions of the one-sample helpers below.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>

#include "RZFilterFunc/channels/FrameKernels.h"

#if defined(__GNUC__)
#define RZF_UNROLL _Pragma("GCC unroll 64")
#else
#define RZF_UNROLL
#endif

namespace rzf::detail {
namespace {

// Frames an IIR kernel converts per step (lane-major, kept in the L1 cache).
constexpr int kIirChunkFrames = 64;

// One raw sample to double, through float as the frame conversion defines.
inline double ReadLane(const char* p, int type) {
    switch (type) {
        case 0: {
            std::int16_t v;
            std::memcpy(&v, p, sizeof v);
            return static_cast<double>(static_cast<float>(v));
        }
        case 1: {
            float v;
            std::memcpy(&v, p, sizeof v);
            return static_cast<double>(v);
        }
        case 2: {
            std::int32_t v;
            std::memcpy(&v, p, sizeof v);
            return static_cast<double>(static_cast<float>(v));
        }
        default:
            return 0.0;
    }
}

// Toward zero; NaN and values outside the 32-bit range give INT32_MIN.
inline std::int32_t TruncLane(float f) {
    const double v = f;
    if (!(v > -2147483649.0 && v < 2147483648.0)) {
        return INT32_MIN;
    }
    return static_cast<std::int32_t>(v);
}

// One filtered value back to a raw sample: rounded to float, then truncated
// (16-bit keeps the low bits).
inline void WriteLane(double y, char* p, int type) {
    const float f = static_cast<float>(y);
    switch (type) {
        case 0: {
            const std::uint16_t low =
                static_cast<std::uint16_t>(static_cast<std::uint32_t>(TruncLane(f)) & 0xFFFFu);
            std::memcpy(p, &low, sizeof low);
            break;
        }
        case 1:
            std::memcpy(p, &f, sizeof f);
            break;
        case 2: {
            const std::int32_t v = TruncLane(f);
            std::memcpy(p, &v, sizeof v);
            break;
        }
        default:
            break;
    }
}

inline std::size_t SampleSize(int type) {
    return type == 0 ? 2 : (type == 1 || type == 2) ? 4 : 0;
}

// The lanes of one call, their frame offsets and whether they are adjacent
// samples of a full register set (then read and written a register at a time).
template <class Ops, int R>
struct LaneIo {
    static constexpr int kLanes = Ops::kLanes * R;
    const std::size_t* offset;
    int count;
    bool adjacent;

    LaneIo(const std::size_t* off, int n, const FrameBlock& block) : offset(off), count(n) {
        const std::size_t size = SampleSize(block.type);
        adjacent = n == kLanes && size != 0 && size == block.sampleWidth;
        for (int l = 1; adjacent && l < n; ++l) {
            adjacent = off[l] == off[0] + static_cast<std::size_t>(l) * size;
        }
    }

    // Frames first .. first+n-1 into rows of kLanes doubles. Unused lanes are
    // not touched: the kernels zero them once and keep them zero.
    void Read(const FrameBlock& block, int first, int n, double* rows) const {
        const char* frame = block.data + static_cast<std::size_t>(first) * block.frameBytes;
        switch (block.type) {
            case 0:
                ReadAs<0>(frame, block.frameBytes, n, rows);
                break;
            case 1:
                ReadAs<1>(frame, block.frameBytes, n, rows);
                break;
            case 2:
                ReadAs<2>(frame, block.frameBytes, n, rows);
                break;
            default:  // an unknown code reads zeros
                for (int j = 0; j < n; ++j, rows += kLanes) {
                    for (int l = 0; l < count; ++l) {
                        rows[l] = 0.0;
                    }
                }
                break;
        }
    }

    // Rows of results back into frames first .. first+n-1; unused lanes are dropped.
    void Write(const FrameBlock& block, int first, int n, const double* rows) const {
        char* frame = block.data + static_cast<std::size_t>(first) * block.frameBytes;
        switch (block.type) {
            case 0:
                WriteAs<0>(rows, n, frame, block.frameBytes);
                break;
            case 1:
                WriteAs<1>(rows, n, frame, block.frameBytes);
                break;
            case 2:
                WriteAs<2>(rows, n, frame, block.frameBytes);
                break;
            default:  // an unknown code writes nothing
                break;
        }
    }

private:
    static constexpr std::size_t kSize(int type) { return type == 0 ? 2 : 4; }

    template <int Type>
    void ReadAs(const char* frame, std::size_t frameBytes, int n, double* rows) const {
        if (adjacent) {
            frame += offset[0];
            for (int j = 0; j < n; ++j, frame += frameBytes, rows += kLanes) {
                for (int r = 0; r < R; ++r) {
                    const char* src = frame + r * Ops::kLanes * kSize(Type);
                    if (Type == 0) {
                        Ops::ReadInt16(src, rows + r * Ops::kLanes);
                    } else if (Type == 1) {
                        Ops::ReadFloat(src, rows + r * Ops::kLanes);
                    } else {
                        Ops::ReadInt32(src, rows + r * Ops::kLanes);
                    }
                }
            }
            return;
        }
        for (int j = 0; j < n; ++j, frame += frameBytes, rows += kLanes) {
            for (int l = 0; l < count; ++l) {
                rows[l] = ReadLane(frame + offset[l], Type);
            }
        }
    }

    template <int Type>
    void WriteAs(const double* rows, int n, char* frame, std::size_t frameBytes) const {
        if (adjacent) {
            frame += offset[0];
            for (int j = 0; j < n; ++j, frame += frameBytes, rows += kLanes) {
                for (int r = 0; r < R; ++r) {
                    char* dst = frame + r * Ops::kLanes * kSize(Type);
                    if (Type == 0) {
                        Ops::WriteInt16(rows + r * Ops::kLanes, dst);
                    } else if (Type == 1) {
                        Ops::WriteFloat(rows + r * Ops::kLanes, dst);
                    } else {
                        Ops::WriteInt32(rows + r * Ops::kLanes, dst);
                    }
                }
            }
            return;
        }
        for (int j = 0; j < n; ++j, frame += frameBytes, rows += kLanes) {
            for (int l = 0; l < count; ++l) {
                WriteLane(rows[l], frame + offset[l], Type);
            }
        }
    }
};

// Transposed direct form II of order N over R registers of lanes, state and
// coefficients held in locals for the whole block. Kept as one function: the
// state registers s live across the whole chunk loop, and handing them to
// helpers would send them through memory on every frame.
template <class Ops, int N, int R, IirForm Form>
void RunIirLanes(const IirLanes& lanes, const FrameBlock& block) {
    using V = typename Ops::V;
    constexpr int kW = Ops::kLanes;
    constexpr int kL = kW * R;
    alignas(64) double b[(N + 1) * kL] = {};
    alignas(64) double a[(N + 1) * kL] = {};
    alignas(64) double s0[N * kL] = {};
    for (int l = 0; l < lanes.count; ++l) {
        for (int k = 0; k <= N; ++k) {
            b[k * kL + l] = lanes.b[l][k];
            a[k * kL + l] = k == 0 ? 0.0 : lanes.a[l][k];
        }
        for (int k = 0; k < N; ++k) {
            s0[k * kL + l] = lanes.state[l][k];
        }
    }
    V s[N][R];
    RZF_UNROLL
    for (int k = 0; k < N; ++k) {
        RZF_UNROLL
        for (int r = 0; r < R; ++r) {
            s[k][r] = Ops::Load(s0 + k * kL + r * kW);
        }
    }

    const LaneIo<Ops, R> io(lanes.offset, lanes.count, block);
    // Unused lanes stay zero: zero input, coefficients and state give zero.
    alignas(64) double rows[kIirChunkFrames * kL] = {};
    for (int first = 0; first < block.frames; first += kIirChunkFrames) {
        const int n =
            block.frames - first < kIirChunkFrames ? block.frames - first : kIirChunkFrames;
        io.Read(block, first, n, rows);
        double* row = rows;
        for (int j = 0; j < n; ++j, row += kL) {
            V x[R];
            V y[R];
            RZF_UNROLL
            for (int r = 0; r < R; ++r) {
                x[r] = Ops::Load(row + r * kW);
                if (Form == IirForm::Designer) {
                    y[r] = Ops::Add(Ops::Mul(Ops::Load(b + r * kW), x[r]), s[0][r]);
                } else {
                    y[r] = Ops::Add(Ops::Mul(x[r], Ops::Load(b + r * kW)), s[0][r]);
                }
                Ops::Store(row + r * kW, y[r]);
            }
            RZF_UNROLL
            for (int k = 1; k < N; ++k) {
                RZF_UNROLL
                for (int r = 0; r < R; ++r) {
                    const V bk = Ops::Load(b + k * kL + r * kW);
                    const V ak = Ops::Load(a + k * kL + r * kW);
                    if (Form == IirForm::Designer) {
                        s[k - 1][r] =
                            Ops::Sub(Ops::Add(Ops::Mul(bk, x[r]), s[k][r]), Ops::Mul(ak, y[r]));
                    } else {
                        s[k - 1][r] =
                            Ops::Add(Ops::Sub(Ops::Mul(x[r], bk), Ops::Mul(y[r], ak)), s[k][r]);
                    }
                }
            }
            RZF_UNROLL
            for (int r = 0; r < R; ++r) {
                const V bn = Ops::Load(b + N * kL + r * kW);
                const V an = Ops::Load(a + N * kL + r * kW);
                if (Form == IirForm::Designer) {
                    s[N - 1][r] = Ops::Sub(Ops::Mul(bn, x[r]), Ops::Mul(an, y[r]));
                } else {
                    s[N - 1][r] = Ops::Sub(Ops::Mul(x[r], bn), Ops::Mul(y[r], an));
                }
            }
        }
        io.Write(block, first, n, rows);
    }

    for (int k = 0; k < N; ++k) {
        for (int r = 0; r < R; ++r) {
            Ops::Store(s0 + k * kL + r * kW, s[k][r]);
        }
    }
    for (int l = 0; l < lanes.count; ++l) {
        for (int k = 0; k < N; ++k) {
            lanes.state[l][k] = s0[k * kL + l];
        }
    }
}

// One product of the FIR sum: the window FIR rounds taps[t] * s to float, the
// moving average multiplies s * taps[t] in double.
template <class Ops, bool Round>
inline typename Ops::V FirTerm(typename Ops::V tap, typename Ops::V sample) {
    if (Round) {
        return Ops::RoundToFloat(Ops::Mul(tap, sample));
    }
    return Ops::Mul(sample, tap);
}

// FIR over a lane-major history: output j's sum runs from the newest sample
// (tap L-1) to the oldest (tap 0), as the delay-line loop does. Several
// outputs are summed side by side, each in that order. Kept as one function:
// set-up, chunk loop and write-back index one layout of scratch (taps, history
// rows, outputs), and any helper would have to be a template on Ops too, so
// that each instruction-set level keeps code of its own.
template <class Ops, int R, bool Round>
void RunFirLanes(const FirLanes& lanes, const FrameBlock& block, double* scratch) {
    using V = typename Ops::V;
    constexpr int kW = Ops::kLanes;
    constexpr int kL = kW * R;
    constexpr int kOutputsPerStep = 4;
    const int len = lanes.length;
    const std::size_t rowsBefore = static_cast<std::size_t>(len - 1);
    double* taps = scratch;
    double* hist = taps + static_cast<std::size_t>(len) * kL;
    double* out = hist + (rowsBefore + kFirChunkFrames) * kL;

    for (int t = 0; t < len; ++t) {
        for (int l = 0; l < kL; ++l) {
            taps[t * kL + l] = l < lanes.count ? lanes.taps[l][t] : 0.0;
        }
    }
    // Row len-2-k holds state[k], the input k samples before the block.
    for (int k = 0; k + 1 < len; ++k) {
        double* row = hist + (rowsBefore - 1 - k) * kL;
        for (int l = 0; l < kL; ++l) {
            row[l] = l < lanes.count ? lanes.state[l][k] : 0.0;
        }
    }

    // Unused lanes of the input rows stay zero throughout.
    std::memset(hist + rowsBefore * kL, 0,
                static_cast<std::size_t>(kFirChunkFrames) * kL * sizeof(double));

    const LaneIo<Ops, R> io(lanes.offset, lanes.count, block);
    int n = 0;
    for (int first = 0; first < block.frames; first += n) {
        if (first > 0) {
            // Keep the last len-1 inputs in front of the next step's.
            std::memmove(hist, hist + static_cast<std::size_t>(n) * kL,
                         rowsBefore * kL * sizeof(double));
        }
        n = block.frames - first < kFirChunkFrames ? block.frames - first : kFirChunkFrames;
        io.Read(block, first, n, hist + rowsBefore * kL);
        int j = 0;
        for (; j + kOutputsPerStep <= n; j += kOutputsPerStep) {
            V acc[kOutputsPerStep][R];
            RZF_UNROLL
            for (int i = 0; i < kOutputsPerStep; ++i) {
                RZF_UNROLL
                for (int r = 0; r < R; ++r) {
                    acc[i][r] = Ops::Zero();
                }
            }
            for (int t = len - 1; t >= 0; --t) {
                const double* base = hist + static_cast<std::size_t>(j + t) * kL;
                RZF_UNROLL
                for (int r = 0; r < R; ++r) {
                    const V tap = Ops::Load(taps + t * kL + r * kW);
                    RZF_UNROLL
                    for (int i = 0; i < kOutputsPerStep; ++i) {
                        const V x = Ops::Load(base + i * kL + r * kW);
                        acc[i][r] = Ops::Add(acc[i][r], FirTerm<Ops, Round>(tap, x));
                    }
                }
            }
            RZF_UNROLL
            for (int i = 0; i < kOutputsPerStep; ++i) {
                RZF_UNROLL
                for (int r = 0; r < R; ++r) {
                    Ops::Store(out + (j + i) * kL + r * kW, acc[i][r]);
                }
            }
        }
        for (; j < n; ++j) {
            V acc[R];
            RZF_UNROLL
            for (int r = 0; r < R; ++r) {
                acc[r] = Ops::Zero();
            }
            for (int t = len - 1; t >= 0; --t) {
                const double* base = hist + static_cast<std::size_t>(j + t) * kL;
                RZF_UNROLL
                for (int r = 0; r < R; ++r) {
                    const V tap = Ops::Load(taps + t * kL + r * kW);
                    acc[r] = Ops::Add(acc[r], FirTerm<Ops, Round>(tap, Ops::Load(base + r * kW)));
                }
            }
            RZF_UNROLL
            for (int r = 0; r < R; ++r) {
                Ops::Store(out + j * kL + r * kW, acc[r]);
            }
        }
        io.Write(block, first, n, out);
    }

    // state[k] = the input k samples before the end: row len-2+n-k.
    for (int k = 0; k < len; ++k) {
        const double* row = hist + (rowsBefore - 1 + static_cast<std::size_t>(n) - k) * kL;
        for (int l = 0; l < lanes.count; ++l) {
            lanes.state[l][k] = row[l];
        }
    }
}

using IirKernel = void (*)(const IirLanes&, const FrameBlock&);

template <class Ops, int R, int... N>
constexpr IirKernel kDesignerKernels[] = {&RunIirLanes<Ops, N + 1, R, IirForm::Designer>...};

template <class Ops, int R, int... N>
constexpr IirKernel DesignerKernel(int order, std::integer_sequence<int, N...>) {
    return kDesignerKernels<Ops, R, N...>[order - 1];
}

// Picks the instantiation for the lanes' order, form and register count.
template <class Ops>
void RunIir(const IirLanes& lanes, const FrameBlock& block) {
    const bool wide = lanes.count > Ops::kLanes;
    if (lanes.form == IirForm::Section) {
        // Only second-order sections are run in lanes.
        (wide ? &RunIirLanes<Ops, 2, 2, IirForm::Section>
              : &RunIirLanes<Ops, 2, 1, IirForm::Section>)(lanes, block);
        return;
    }
    const auto orders = std::make_integer_sequence<int, kMaxLaneIirOrder>();
    (wide ? DesignerKernel<Ops, 2>(lanes.order, orders)
          : DesignerKernel<Ops, 1>(lanes.order, orders))(lanes, block);
}

template <class Ops>
void RunFir(const FirLanes& lanes, const FrameBlock& block, double* scratch) {
    const bool wide = lanes.count > Ops::kLanes;
    if (lanes.roundProducts) {
        (wide ? &RunFirLanes<Ops, 2, true> : &RunFirLanes<Ops, 1, true>)(lanes, block, scratch);
    } else {
        (wide ? &RunFirLanes<Ops, 2, false> : &RunFirLanes<Ops, 1, false>)(lanes, block, scratch);
    }
}

}  // namespace
}  // namespace rzf::detail

#undef RZF_UNROLL
