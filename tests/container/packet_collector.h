#pragma once

#include <condition_variable>
#include <mutex>
#include <ostream>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "codrelay/memory_demuxer.h"

/// One packet of a stream, with a copy of its bytes.
struct Packet {
    int stream;
    long long pts;
    long long dts;
    unsigned int key;
    std::vector<unsigned char> bytes;

    bool operator==(const Packet& other) const {
        return stream == other.stream && pts == other.pts && dts == other.dts && key == other.key &&
               bytes == other.bytes;
    }
    bool operator!=(const Packet& other) const { return !(*this == other); }
};

void PrintTo(const Packet& packet, std::ostream* out);

/// Collects what the reader thread tells, and can hold it inside a callback.
class Collector : public CDemuxerMemCallback {
public:
    int OnVideoStream(int streamIndex, int codecId) override;
    int OnAudioStream(int streamIndex, int codecId, AUDIO_FORMAT* format) override;
    int OnPacket(DEMUXER_PACKET* packet) override;

    /// From now on every callback stays until Release.
    void Hold();
    void Release();
    /// Lets the callback that is held go on to the next one, which stays.
    void Step();
    void AwaitCallbacks(std::size_t count);

    bool StreamAfterPacket();
    std::set<std::thread::id> Threads();
    std::vector<std::string> Streams();
    std::vector<Packet> Packets();

private:
    void Note(const std::string& stream);
    void Stop(std::unique_lock<std::mutex>* lock);

    std::mutex m_Mutex;
    std::condition_variable m_Changed;
    bool m_bHeld = false;
    int m_nSteps = 0;
    bool m_bStreamAfterPacket = false;
    std::set<std::thread::id> m_Threads;
    std::vector<std::string> m_Streams;
    std::vector<Packet> m_Packets;
};
