#pragma once

#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include "support/ffmpeg.h"

/// An encoder that is opened and driven by plain calls, with moving pictures or a rising tone to encode.
class EncoderAtWork {
public:
    /// `name` is FFmpeg's name of an encoder. Pictures are of 176x144, sound is of one channel and 44100 Hz.
    explicit EncoderAtWork(const char* name) {
        const AVCodec* codec = avcodec_find_encoder_by_name(name);
        m_pContext = avcodec_alloc_context3(codec);
        if (codec == nullptr) {
            return;
        }
        m_pContext->bit_rate = 128000;
        if (IsVideo()) {
            m_pContext->width = kWidth;
            m_pContext->height = kHeight;
            m_pContext->time_base = {1, 25};
            m_pContext->pix_fmt = codec->pix_fmts[0];
            m_pContext->max_b_frames = 0;
        } else {
            m_pContext->sample_rate = kRate;
            m_pContext->sample_fmt = codec->sample_fmts[0];
            SetDefaultLayout(m_pContext, 1);
        }
        AVDictionary* options = nullptr;
        av_dict_set(&options, "tune", "zerolatency", 0);  // x264 alone knows it, and would keep pictures back
        m_nOpened = avcodec_open2(m_pContext, codec, &options);
        av_dict_free(&options);
    }
    ~EncoderAtWork() {
        av_frame_free(&m_pFrame);
        avcodec_free_context(&m_pContext);
    }
    EncoderAtWork(const EncoderAtWork&) = delete;
    EncoderAtWork& operator=(const EncoderAtWork&) = delete;

    /// One more picture, or as many samples as the encoder takes at once, or `samples` of them.
    int Encode(AVPacket* packet, int* gotPacket, int samples = 0) {
        if (IsVideo()) {
            FillPicture();
        } else {
            FillSound(samples != 0 ? samples : SamplesAtOnce());
        }
        m_pFrame->pts = m_nNextPts++;
        return Call(packet, m_pFrame, gotPacket);
    }
    int Flush(AVPacket* packet, int* gotPacket) { return Call(packet, nullptr, gotPacket); }

    bool IsOpen() const { return m_nOpened == 0; }
    bool IsVideo() const { return m_pContext->codec_type == AVMEDIA_TYPE_VIDEO; }
    int SamplesAtOnce() const { return m_pContext->frame_size != 0 ? m_pContext->frame_size : 1024; }
    AVCodecContext* Context() { return m_pContext; }

private:
    static constexpr int kWidth = 176;
    static constexpr int kHeight = 144;
    static constexpr int kRate = 44100;

    int Call(AVPacket* packet, const AVFrame* frame, int* gotPacket) {
        return IsVideo() ? avcodec_encode_video2(m_pContext, packet, frame, gotPacket)
                         : avcodec_encode_audio2(m_pContext, packet, frame, gotPacket);
    }

    // The frame does not own its memory, as that of a host does not.
    void FillPicture() {
        m_Bytes.resize(static_cast<std::size_t>(av_image_get_buffer_size(m_pContext->pix_fmt, kWidth, kHeight, 1)));
        for (std::size_t i = 0; i < m_Bytes.size(); ++i) {
            m_Bytes[i] = static_cast<uint8_t>(i * i / 97 + static_cast<std::size_t>(m_nNextPts) * 5);
        }
        av_image_fill_arrays(m_pFrame->data, m_pFrame->linesize, m_Bytes.data(), m_pContext->pix_fmt, kWidth, kHeight,
                             1);
        m_pFrame->format = m_pContext->pix_fmt;
        m_pFrame->width = kWidth;
        m_pFrame->height = kHeight;
    }

    void FillSound(int samples) {
        const int size = av_samples_get_buffer_size(nullptr, 1, samples, m_pContext->sample_fmt, 1);
        m_Bytes.resize(static_cast<std::size_t>(size));
        for (int i = 0; i < samples; ++i) {
            const double value = 0.4 * std::sin(0.05 * (1 + 0.1 * static_cast<double>(m_nNextPts)) * i);
            if (m_pContext->sample_fmt == AV_SAMPLE_FMT_FLTP) {
                reinterpret_cast<float*>(m_Bytes.data())[i] = static_cast<float>(value);
            } else {
                reinterpret_cast<int16_t*>(m_Bytes.data())[i] = static_cast<int16_t>(value * 32767);
            }
        }
        DescribeSound(m_pFrame, m_pContext);
        m_pFrame->nb_samples = samples;
        avcodec_fill_audio_frame(m_pFrame, 1, m_pContext->sample_fmt, m_Bytes.data(), size, 1);
    }

    AVCodecContext* m_pContext = nullptr;
    AVFrame* m_pFrame = av_frame_alloc();
    std::vector<uint8_t> m_Bytes;
    int64_t m_nNextPts = 7;
    int m_nOpened = -1;
};

/// A packet of the caller's own memory.
struct PacketOf {
    explicit PacketOf(uint8_t* data, int size) {
        av_init_packet(&packet);
        packet.data = data;
        packet.size = size;
    }
    ~PacketOf() { av_packet_unref(&packet); }
    PacketOf(const PacketOf&) = delete;
    PacketOf& operator=(const PacketOf&) = delete;

    AVPacket packet{};
};
