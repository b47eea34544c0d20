#include "container/packet_collector.h"

#include <algorithm>

void PrintTo(const Packet& packet, std::ostream* out) {
    *out << "stream " << packet.stream << " pts " << packet.pts << " dts " << packet.dts << " key " << packet.key
         << ", " << packet.bytes.size() << " bytes";
}

int Collector::OnVideoStream(int streamIndex, int codecId) {
    Note("video " + std::to_string(streamIndex) + " codec " + std::to_string(codecId));
    return 0;
}

int Collector::OnAudioStream(int streamIndex, int codecId, AUDIO_FORMAT* format) {
    Note("audio " + std::to_string(streamIndex) + " codec " + std::to_string(codecId) + " " +
         std::to_string(format->sampleRate) + "/" + std::to_string(format->channels) + "/" +
         std::to_string(format->sampleFormat));
    return 0;
}

int Collector::OnPacket(DEMUXER_PACKET* packet) {
    std::unique_lock<std::mutex> lock(m_Mutex);
    m_Packets.push_back(
        {packet->streamIndex, packet->pts, packet->dts, packet->keyFrame, {packet->data, packet->data + packet->size}});
    Stop(&lock);
    return 0;
}

void Collector::Hold() {
    std::lock_guard<std::mutex> lock(m_Mutex);
    m_bHeld = true;
}

void Collector::Release() {
    std::lock_guard<std::mutex> lock(m_Mutex);
    m_bHeld = false;
    m_Changed.notify_all();
}

void Collector::Step() {
    std::lock_guard<std::mutex> lock(m_Mutex);
    ++m_nSteps;
    m_Changed.notify_all();
}

void Collector::AwaitCallbacks(std::size_t count) {
    std::unique_lock<std::mutex> lock(m_Mutex);
    m_Changed.wait(lock, [&] { return m_Streams.size() + m_Packets.size() >= count; });
}

bool Collector::StreamAfterPacket() {
    std::lock_guard<std::mutex> lock(m_Mutex);
    return m_bStreamAfterPacket;
}

std::set<std::thread::id> Collector::Threads() {
    std::lock_guard<std::mutex> lock(m_Mutex);
    return m_Threads;
}

std::vector<std::string> Collector::Streams() {
    std::lock_guard<std::mutex> lock(m_Mutex);
    return m_Streams;
}

std::vector<Packet> Collector::Packets() {
    std::lock_guard<std::mutex> lock(m_Mutex);
    return m_Packets;
}

void Collector::Note(const std::string& stream) {
    std::unique_lock<std::mutex> lock(m_Mutex);
    m_Streams.push_back(stream);
    m_bStreamAfterPacket = m_bStreamAfterPacket || !m_Packets.empty();
    Stop(&lock);
}

void Collector::Stop(std::unique_lock<std::mutex>* lock) {
    m_Threads.insert(std::this_thread::get_id());
    m_Changed.notify_all();
    m_Changed.wait(*lock, [this] { return !m_bHeld || m_nSteps > 0; });
    m_nSteps = std::max(m_nSteps - 1, 0);
}
