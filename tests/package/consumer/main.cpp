// Builds against an installed RZFilterFunc (through its CMake package, or a
// plain compiler command line from pkg-config) and uses only the exported
// interface.
#include <RZFilterFunc/RZFilterFunc.h>

#include <cstdio>

int main() {
    FilterUser user;
    user.setFilterParameter(BAND_LOWPASS, DM_AVERAGE, 10.0, 20.0, 30.0, 40.0, 512.0, 4, 0.3, 40.0,
                            0.0);
    if (!user.DesignFilter()) {
        std::puts("design refused");
        return 1;
    }
    float in[5] = {0.0f, 1.0f, 1.0f, 1.0f, 1.0f};
    float out[5] = {};
    user.FilterData(in, out, 5);
    // A 4-tap moving average of a step: 0, 0.25, 0.5, 0.75, 1.
    if (out[1] != 0.25f || out[4] != 1.0f) {
        std::printf("unexpected output %g %g\n", out[1], out[4]);
        return 1;
    }
    std::puts("consumer ok");
    return 0;
}
