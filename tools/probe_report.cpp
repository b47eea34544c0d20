#include "probe_report.h"

#include <iostream>
#include <utility>

#include "media_names.h"
#include "sample_format.h"
#include "table.h"

namespace {

std::string TypeName(StreamType type) {
    return type == StreamType::Video ? "video" : type == StreamType::Audio ? "audio" : "other";
}

std::string CodecName(const StreamInfo& stream) {
    return stream.type == StreamType::Audio ? AudioCodecName(stream.codecId) : VideoCodecName(stream.codecId);
}

std::string TimeText(long long time, const char* none) {
    return time == kNoTime ? none : std::to_string(time);
}

std::string TimeText(const std::optional<long long>& time, const char* none) {
    return TimeText(time.value_or(kNoTime), none);
}

}  // namespace

void ProbeReport::AddStream(const StreamInfo& info) {
    Stream stream;
    stream.info = info;
    if (info.type == StreamType::Video && CanDecode(info.codecId)) {
        stream.sizeFinder = std::make_unique<PictureSizeFinder>(m_Session, info.codecId);
    }
    m_Streams[info.index] = std::move(stream);
}

void ProbeReport::TakePacket(const DEMUXER_PACKET& packet) {
    if (m_Streams.count(packet.streamIndex) == 0) {
        AddStream({packet.streamIndex, StreamType::Other, -1, {}});
    }
    Stream& stream = m_Streams[packet.streamIndex];
    ++stream.packets;
    if (packet.pts != kNoTime) {
        stream.first = stream.first.value_or(packet.pts);
        stream.last = packet.pts;
    }
    if (stream.sizeFinder) {
        stream.sizeFinder->Feed(packet);
    }
    if (m_Style.packets) {
        Begin();
        PrintPacket(packet);
    }
}

void ProbeReport::Finish() {
    Begin();
    m_Style.json ? PrintJsonEnd() : PrintTable();
}

/// Nothing is written before there is something to tell, so that a failure leaves standard output empty.
void ProbeReport::Begin() {
    if (!std::exchange(m_HasBegun, true) && m_Style.json) {
        std::cout << "{\n" << (m_Style.packets ? "  \"packets\": [" : "");
    }
}

void ProbeReport::PrintPacket(const DEMUXER_PACKET& packet) {
    const bool isFirst = m_Packets++ == 0;
    if (m_Style.json) {
        std::cout << (isFirst ? "\n" : ",\n") << R"(    {"stream": )" << packet.streamIndex << R"(, "pts_)"
                  << m_Style.unit << R"(": )" << TimeText(packet.pts, "null") << R"(, "dts_)" << m_Style.unit
                  << R"(": )" << TimeText(packet.dts, "null") << R"(, "size": )" << packet.size << R"(, "key": )"
                  << (packet.keyFrame != 0 ? "true" : "false") << "}";
    } else {
        std::cout << packet.streamIndex << "\t" << TimeText(packet.pts, "-") << "\t" << TimeText(packet.dts, "-")
                  << "\t" << packet.size << "\t" << packet.keyFrame << "\n";
    }
}

void ProbeReport::PrintTable() const {
    Table table({"stream", "type", "codec", "size", "rate", "channels", "packets", "first_" + m_Style.unit,
                 "last_" + m_Style.unit, "format"});
    for (const auto& [index, stream] : m_Streams) {
        const AUDIO_FORMAT& audio = stream.info.audio;
        const bool isAudio = stream.info.type == StreamType::Audio;
        table.AddRow({std::to_string(index), TypeName(stream.info.type), CodecName(stream.info),
                      stream.Size() ? SizeText(*stream.Size()) : "-", isAudio ? std::to_string(audio.sampleRate) : "-",
                      isAudio ? std::to_string(audio.channels) : "-", std::to_string(stream.packets),
                      TimeText(stream.first, "-"), TimeText(stream.last, "-"),
                      isAudio ? SampleFormatName(audio.sampleFormat) : "-"});
    }
    table.Print();
}

void ProbeReport::PrintJsonEnd() const {
    std::cout << (m_Style.packets ? "\n  ],\n" : "") << "  \"streams\": [";
    bool isFirst = true;
    for (const auto& [index, stream] : m_Streams) {
        std::cout << (std::exchange(isFirst, false) ? "\n" : ",\n");
        PrintStreamAsJson(stream);
    }
    std::cout << "\n  ]\n}\n";
}

void ProbeReport::PrintStreamAsJson(const Stream& stream) const {
    std::cout << R"(    {"index": )" << stream.info.index << R"(, "type": ")" << TypeName(stream.info.type)
              << R"(", "codec": ")" << CodecName(stream.info) << R"(")";
    if (stream.info.type == StreamType::Video) {
        const auto size = stream.Size();
        std::cout << R"(, "width": )" << (size ? std::to_string(size->width) : "null") << R"(, "height": )"
                  << (size ? std::to_string(size->height) : "null");
    } else if (stream.info.type == StreamType::Audio) {
        const AUDIO_FORMAT& audio = stream.info.audio;
        std::cout << R"(, "rate": )" << audio.sampleRate << R"(, "channels": )" << audio.channels << R"(, "format": )"
                  << (audio.sampleFormat != 0 ? "\"" + SampleFormatName(audio.sampleFormat) + "\"" : "null");
    }
    std::cout << R"(, "packets": )" << stream.packets << R"(, "first_)" << m_Style.unit << R"(": )"
              << TimeText(stream.first, "null") << R"(, "last_)" << m_Style.unit << R"(": )"
              << TimeText(stream.last, "null") << "}";
}
