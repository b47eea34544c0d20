// Hosts that call through the table by number may have no object: Delete() does nothing then.

#include <gtest/gtest.h>

#include "abi/raw_call.h"
#include "codrelay/codrelay.h"

namespace {

constexpr std::size_t kDelete = 2;

template <typename Object>
void ExpectThatNothingIsDeletedWithoutAnObject(Object* object) {
    ASSERT_NE(object, nullptr);
    CallSlotOfNothing(object, kDelete);
    object->Delete();
}

TEST(DeleteSlot, OfAVideoDecoderDoesNothingOnNull) {
    ExpectThatNothingIsDeletedWithoutAnObject(Codrelay_VideoDecoder(VIDEO_CODEC_H264, ""));
}

TEST(DeleteSlot, OfAVideoEncoderDoesNothingOnNull) {
    ExpectThatNothingIsDeletedWithoutAnObject(Codrelay_VideoEncoder(VIDEO_CODEC_H264, ""));
}

TEST(DeleteSlot, OfAnAudioDecoderDoesNothingOnNull) {
    ExpectThatNothingIsDeletedWithoutAnObject(Codrelay_AudioDecoder(AUDIO_CODEC_AAC));
}

TEST(DeleteSlot, OfAnOpusDecoderDoesNothingOnNull) {
    ExpectThatNothingIsDeletedWithoutAnObject(Codrelay_AudioDecoder(AUDIO_CODEC_OPUS));
}

TEST(DeleteSlot, OfAnAudioEncoderDoesNothingOnNull) {
    ExpectThatNothingIsDeletedWithoutAnObject(Codrelay_AudioEncoder(AUDIO_CODEC_AAC));
}

TEST(DeleteSlot, OfAResamplerDoesNothingOnNull) {
    ExpectThatNothingIsDeletedWithoutAnObject(Codrelay_AudioResampler());
}

}  // namespace
