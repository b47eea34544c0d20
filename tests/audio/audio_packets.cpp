#include "audio/audio_packets.h"

#include <algorithm>
#include <memory>
#include <stdexcept>

#include "codrelay/factories.h"
#include "common/ffmpeg_generation.h"

AudioPackets ReadAudioPackets(const std::string& path) {
    AVFormatContext* opened = nullptr;
    if (avformat_open_input(&opened, path.c_str(), nullptr, nullptr) < 0) {
        throw std::runtime_error("cannot read " + path);
    }
    const auto close = [](AVFormatContext* context) { avformat_close_input(&context); };
    const std::unique_ptr<AVFormatContext, decltype(close)> context(opened, close);
    avformat_find_stream_info(context.get(), nullptr);
    const int stream = av_find_best_stream(context.get(), AVMEDIA_TYPE_AUDIO, -1, -1, nullptr, 0);
    if (stream < 0) {
        throw std::runtime_error("no sound in " + path);
    }
    const AVCodecParameters* parameters = context->streams[stream]->codecpar;
    AudioPackets result{parameters->codec_id, ChannelsIn(*parameters, 0), parameters->sample_rate, {}};
    AVPacket packet{};
    while (av_read_frame(context.get(), &packet) >= 0) {
        if (packet.stream_index == stream) {
            result.packets.emplace_back(packet.data, packet.data + packet.size);
        }
        av_packet_unref(&packet);
    }
    return result;
}

std::vector<Bytes> CutIntoPackets(const Bytes& file, std::size_t packetBytes) {
    std::vector<Bytes> packets;
    for (std::size_t at = 0; at < file.size(); at += packetBytes) {
        const std::size_t end = std::min(file.size(), at + packetBytes);
        packets.emplace_back(file.begin() + static_cast<std::ptrdiff_t>(at),
                             file.begin() + static_cast<std::ptrdiff_t>(end));
    }
    return packets;
}

Bytes WithoutAdtsHeader(const Bytes& frame) {
    const bool hasCrc = (frame.at(1) & 1) == 0;
    return {frame.begin() + (hasCrc ? 9 : 7), frame.end()};
}

Decoded DecodeAll(CAudioDecoderBase* decoder, const std::vector<Bytes>& packets) {
    Decoded decoded;
    std::vector<short> room(384000 / sizeof(short));
    for (Bytes packet : packets) {
        unsigned int consumed = 0;
        unsigned int written = 0;
        decoded.results.push_back(decoder->Decode(packet.data(), static_cast<unsigned int>(packet.size()), room.data(),
                                                  384000, consumed, written));
        const auto* bytes = reinterpret_cast<const unsigned char*>(room.data());
        decoded.samples.insert(decoded.samples.end(), bytes, bytes + written);
    }
    return decoded;
}

ReadyDecoder::ReadyDecoder(int id, int channels, int sampleRate) : m_pDecoder(Codrelay_AudioDecoder(id)) {
    m_bReady = m_pDecoder->CreateDecoder(channels, sampleRate, m_nSampleFormat, nullptr, 0);
}

ReadyDecoder::~ReadyDecoder() {
    m_pDecoder->DestroyDecoder();
    m_pDecoder->Delete();
}
