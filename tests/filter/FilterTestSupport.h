#pragma once

#include <gtest/gtest.h>

#include <RZFilterFunc/filter/FilterUser.h>
#include <RZFilterFunc/platform/HardWareConfig.h>

#include <cstdlib>
#include <fstream>
#include <map>
#include <string>

// Exposes the designer's protected helpers to the tests.
class TestableFilterUser : public FilterUser {
public:
    using FilterUser::Fir_Filter;
    using FilterUser::InputToFilter;
    using FilterUser::JudgeIsValidData;
};

// Sets the hardware flag for one scope and restores it afterwards.
class HardwareFlag {
public:
    explicit HardwareFlag(bool value) : saved_(HardWareConfig::g_bIs7306K_FirFunc) {
        HardWareConfig::g_bIs7306K_FirFunc = value;
    }
    ~HardwareFlag() { HardWareConfig::g_bIs7306K_FirFunc = saved_; }
    HardwareFlag(const HardwareFlag&) = delete;
    HardwareFlag& operator=(const HardwareFlag&) = delete;

private:
    bool saved_;
};

// The refusal messages as GBK bytes, keyed as in tests/data/filter/messages_gbk.txt
// (written by gen_messages.py from the Chinese texts).
inline std::map<std::string, std::string> LoadGbkMessages() {
    std::map<std::string, std::string> messages;
    const char* root = std::getenv("RZF_TEST_DATA");
    if (root == nullptr) {
        ADD_FAILURE() << "RZF_TEST_DATA is not set";
        return messages;
    }
    std::ifstream file(std::string(root) + "/filter/messages_gbk.txt");
    std::string key;
    std::size_t length = 0;
    std::string hex;
    while (file >> key >> length >> hex) {
        std::string bytes;
        for (std::size_t i = 0; i + 1 < hex.size(); i += 2) {
            bytes.push_back(static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16)));
        }
        EXPECT_EQ(bytes.size(), length) << key;
        messages[key] = bytes;
    }
    EXPECT_EQ(messages.size(), 12u);
    return messages;
}
