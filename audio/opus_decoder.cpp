#include "audio/opus_decoder.h"

#include <opus/opus.h>

#include <algorithm>
#include <array>
#include <vector>

#include "support/delete_object.h"

struct COpusDecoder::COpusDecoderImpl {
    // The samples per channel, or an error of libopus's.
    int DecodePacket(const unsigned char* in, unsigned int inLen, short* out, int room);
    int Conceal(short* out, int room);

    bool created = false;
    std::vector<unsigned char> state;
    OpusDecoder* decoder = nullptr;
    int minOutBufLen = 1920;
    int channels = 0;
    int sampleRate = 0;
};

namespace {

bool IsOpusRate(int sampleRate) {
    constexpr std::array<int, 5> kRates = {8000, 12000, 16000, 24000, 48000};
    return std::find(kRates.begin(), kRates.end(), sampleRate) != kRates.end();
}

int ResultOfError(int error) {
    switch (error) {
        case OPUS_BUFFER_TOO_SMALL:
            return 1;
        case OPUS_INVALID_PACKET:
            return 2;
        case OPUS_INVALID_STATE:
            return 4;
        default:
            return 3;
    }
}

}  // namespace

COpusDecoder::COpusDecoder() : m_pImpl(new COpusDecoderImpl) {}

COpusDecoder::~COpusDecoder() = default;

void COpusDecoder::Delete() {
    DeleteUnlessNull(this);
}

int COpusDecoder::GetMinOutBufLen() {
    return m_pImpl->minOutBufLen;
}

bool COpusDecoder::IsCreated() const {
    return m_pImpl->created;
}

bool COpusDecoder::CreateDecoder(int channels, int sampleRate, int& /*sampleFormat*/, unsigned char* /*extraData*/,
                                 unsigned int /*extraDataLen*/) {
    DestroyDecoder();
    if ((channels != 1 && channels != 2) || !IsOpusRate(sampleRate)) {
        return false;
    }
    const int size = opus_decoder_get_size(channels);
    if (size < 1) {
        return false;
    }
    m_pImpl->state.resize(static_cast<std::size_t>(size));
    auto* decoder = reinterpret_cast<OpusDecoder*>(m_pImpl->state.data());
    if (opus_decoder_init(decoder, sampleRate, channels) != OPUS_OK) {
        return false;
    }
    m_pImpl->decoder = decoder;
    m_pImpl->channels = channels;
    m_pImpl->sampleRate = sampleRate;
    m_pImpl->minOutBufLen = sampleRate / 1000 * 240 * channels;  // 120 ms of 16-bit samples
    m_pImpl->created = true;
    return true;
}

// Keeps the state's memory for the next decoder.
void COpusDecoder::DestroyDecoder() {
    m_pImpl->created = false;
    m_pImpl->decoder = nullptr;
}

int COpusDecoder::Decode(unsigned char* in, unsigned int inLen, short* out, unsigned int outLen, unsigned int& consumed,
                         unsigned int& written) {
    consumed = inLen;
    written = 0;
    if (!m_pImpl->created) {
        return 4;
    }
    const int room = static_cast<int>(outLen / 2 / static_cast<unsigned int>(m_pImpl->channels));
    const int result = m_pImpl->DecodePacket(in, inLen, out, room);
    if (result < 0) {
        return ResultOfError(result);
    }
    // Two bytes a sample, of one channel: hosts double it for stereo themselves.
    written = static_cast<unsigned int>(result) * 2;
    return 0;
}

int COpusDecoder::COpusDecoderImpl::DecodePacket(const unsigned char* in, unsigned int inLen, short* out, int room) {
    if (out == nullptr) {
        return OPUS_BAD_ARG;
    }
    if (in == nullptr || inLen == 0) {
        return Conceal(out, room);
    }
    const auto length = static_cast<opus_int32>(inLen);
    // libopus would take the whole room on its stack before it refuses.
    return length < 0 ? OPUS_BAD_ARG : opus_decode(decoder, in, length, out, room, 0);
}

// libopus fills the whole room in one go, and keeps twice as much on its stack; pieces give the same samples.
int COpusDecoder::COpusDecoderImpl::Conceal(short* out, int room) {
    const int unit = sampleRate / 400;
    if (room < unit || room % unit != 0) {
        return OPUS_BAD_ARG;
    }
    const int longest = 48 * unit;  // 120 ms
    for (int filled = 0; filled < room;) {
        const int piece = opus_decode(decoder, nullptr, 0, out + static_cast<std::ptrdiff_t>(filled) * channels,
                                      std::min(longest, room - filled), 0);
        if (piece <= 0) {
            return piece;
        }
        filled += piece;
    }
    return room;
}
