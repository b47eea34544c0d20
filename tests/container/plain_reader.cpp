#include "container/plain_reader.h"

#include <algorithm>
#include <cstring>

#include "front/registry/ffmpeg_registry.h"
#include "support/ffmpeg.h"

int PlainReader::Read(void* opaque, unsigned char* out, int size) {
    auto* self = static_cast<PlainReader*>(opaque);
    const bool isSmall = self->smallPiece != 0 && self->reads++ < kSmallPieces;
    const std::size_t count = std::min<std::size_t>(isSmall ? self->smallPiece : static_cast<std::size_t>(size),
                                                    self->bytes.size() - self->position);
    if (count == 0) {
        return AVERROR_EOF;
    }
    std::memcpy(out, self->bytes.data() + self->position, count);
    self->position += count;
    return static_cast<int>(count);
}

std::vector<Packet> PlainReader::AllPackets(const char* formatName) {
    AVFormatContext* context = avformat_alloc_context();
    AVIOContext* io = avio_alloc_context(static_cast<unsigned char*>(av_malloc(kCapacity)), kCapacity, 0, this, Read,
                                         nullptr, nullptr);
    context->flags |= AVFMT_FLAG_CUSTOM_IO;
    context->pb = io;
    std::vector<Packet> packets;
    if (OpenInput(&context, "", GetMainFfmpegCodecLib()->FindInFormat(formatName)) >= 0) {
        AVPacket packet;
        av_init_packet(&packet);
        while (av_read_frame(context, &packet) >= 0) {
            packets.push_back({packet.stream_index,
                               packet.pts,
                               packet.dts,
                               static_cast<unsigned int>(packet.flags & AV_PKT_FLAG_KEY),
                               {packet.data, packet.data + packet.size}});
            av_packet_unref(&packet);
        }
        avformat_close_input(&context);
    }
    av_freep(&io->buffer);
    av_free(io);
    return packets;
}
