#pragma once

#include <RZFilterFunc/platform/HardWareConfig.h>

// Sets the process-wide hardware flag for the lifetime of the object and
// restores the value it had before, also when a failed assertion leaves the
// test early.
class HardwareFlagGuard {
public:
    explicit HardwareFlagGuard(bool value) : saved_(HardWareConfig::g_bIs7306K_FirFunc) {
        HardWareConfig::g_bIs7306K_FirFunc = value;
    }
    ~HardwareFlagGuard() { HardWareConfig::g_bIs7306K_FirFunc = saved_; }
    HardwareFlagGuard(const HardwareFlagGuard&) = delete;
    HardwareFlagGuard& operator=(const HardwareFlagGuard&) = delete;

private:
    bool saved_;
};
