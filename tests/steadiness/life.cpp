#include "steadiness/life.h"

#include <cstring>

#include "steadiness/life_parts.h"

void Fingerprint::Add(const void* bytes, std::size_t size) {
    constexpr std::uint64_t kPrime = 1099511628211U;
    const auto* at = static_cast<const unsigned char*>(bytes);
    for (; size >= sizeof(std::uint64_t); at += sizeof(std::uint64_t), size -= sizeof(std::uint64_t)) {
        std::uint64_t word;
        std::memcpy(&word, at, sizeof(word));
        m_nValue = (m_nValue ^ word) * kPrime;
    }
    for (; size > 0; ++at, --size) {
        m_nValue = (m_nValue ^ *at) * kPrime;
    }
}

std::optional<std::uint64_t> LeadLife(Life* life) {
    const bool ready = (life->IsBuilt() || life->Build()) && life->Create();
    return ready ? life->Work() : std::nullopt;
}

void DestroyIfBuilt(Life* life) {
    if (life->IsBuilt()) {
        life->Destroy();
    }
}

void EndLife(Life* life) {
    DestroyIfBuilt(life);
    if (life->IsBuilt()) {
        life->Delete();
    }
}

const std::vector<LifeKind>& AllLifeKinds() {
    static const std::vector<LifeKind> kinds = [] {
        std::vector<LifeKind> all;
        AddVideoLives(&all);
        AddAudioLives(&all);
        AddContainerLives(&all);
        return all;
    }();
    return kinds;
}

void PrintTo(const LifeKind& kind, std::ostream* out) {
    *out << kind.name;
}
