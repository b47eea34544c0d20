// Hosts that were compiled long ago call the operations by their place in the virtual table. Slots 0 and 1 are the two
// destructors.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "abi/raw_call.h"
#include "codrelay/audio_decoder.h"
#include "codrelay/audio_encoder.h"
#include "codrelay/audio_resampler.h"

using testing::ElementsAre;

namespace {

std::string g_Called;

template <typename Result>
Result Called(const char* name) {
    g_Called = name;
    return Result();
}

std::vector<std::string> NamesFromSlot2(void* object, std::size_t count) {
    std::vector<std::string> names;
    for (std::size_t slot = 2; slot < 2 + count; ++slot) {
        names.push_back(NameInSlot(object, slot, g_Called));
    }
    return names;
}

class DecoderProbe : public CAudioDecoderBase {
public:
    void Delete() override { Called<int>("Delete"); }
    bool CreateDecoder(int, int, int&, unsigned char*, unsigned int) override { return Called<bool>("CreateDecoder"); }
    void DestroyDecoder() override { Called<int>("DestroyDecoder"); }
    int GetMinOutBufLen() override { return Called<int>("GetMinOutBufLen"); }
    int Decode(unsigned char*, unsigned int, short*, unsigned int, unsigned int&, unsigned int&) override {
        return Called<int>("Decode");
    }
};

TEST(AudioSlots, OfTheDecoder) {
    DecoderProbe probe;
    EXPECT_THAT(NamesFromSlot2(&probe, 5),
                ElementsAre("Delete", "CreateDecoder", "DestroyDecoder", "GetMinOutBufLen", "Decode"));
}

class EncoderProbe : public CAudioEncoderBase {
public:
    void Delete() override { Called<int>("Delete"); }
    int GetSupportedFormats() override { return Called<int>("GetSupportedFormats"); }
    int GetDefaultFormat() override { return Called<int>("GetDefaultFormat"); }
    bool CreateEncoder(const AUDIO_FORMAT*, unsigned int) override { return Called<bool>("CreateEncoder"); }
    int GetMinOutBufLen() override { return Called<int>("GetMinOutBufLen"); }
    int GetAuxValue() override { return Called<int>("GetAuxValue"); }
    int IsCreated() override { return Called<int>("IsCreated"); }
    void DestroyEncoder() override { Called<int>("DestroyEncoder"); }
    int Encode(unsigned char*, unsigned int, unsigned char*, unsigned int, unsigned int&, unsigned int&,
               long long&) override {
        return Called<int>("Encode");
    }
};

TEST(AudioSlots, OfTheEncoder) {
    EncoderProbe probe;
    EXPECT_THAT(NamesFromSlot2(&probe, 9),
                ElementsAre("Delete", "GetSupportedFormats", "GetDefaultFormat", "CreateEncoder", "GetMinOutBufLen",
                            "GetAuxValue", "IsCreated", "DestroyEncoder", "Encode"));
}

class ResamplerProbe : public CAudioResamplerBase {
public:
    void Delete() override { Called<int>("Delete"); }
    bool Create(const AUDIO_FORMAT*, const AUDIO_FORMAT*, unsigned int, unsigned int&) override {
        return Called<bool>("Create");
    }
    void Destroy() override { Called<int>("Destroy"); }
    bool Resample(unsigned char*, unsigned int, unsigned char*, unsigned int&) override {
        return Called<bool>("Resample");
    }
    const AUDIO_FORMAT* GetInFormat() override { return Called<const AUDIO_FORMAT*>("GetInFormat"); }
    const AUDIO_FORMAT* GetOutFormat() override { return Called<const AUDIO_FORMAT*>("GetOutFormat"); }
};

TEST(AudioSlots, OfTheResampler) {
    ResamplerProbe probe;
    EXPECT_THAT(NamesFromSlot2(&probe, 6),
                ElementsAre("Delete", "Create", "Destroy", "Resample", "GetInFormat", "GetOutFormat"));
}

}  // namespace
