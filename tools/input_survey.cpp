#include "input_survey.h"

#include <algorithm>
#include <vector>

#include "failure.h"

namespace {

constexpr std::size_t kEnoughPictures = 50;
/// Pictures may come so much later than their times say: before the latest ones, some may be missing yet.
constexpr std::size_t kMostReordered = 16;
/// A medium that does not show in so many packets is not waited for.
constexpr int kPatience = 2000;

unsigned int RateOf(std::vector<long long> times) {
    if (times.size() < 2) {
        return 0;
    }
    std::sort(times.begin(), times.end());
    if (times.size() >= kEnoughPictures) {
        times.resize(kEnoughPictures - kMostReordered);
    }
    const auto span = static_cast<std::size_t>(times.back() - times.front());
    const std::size_t rate = span == 0 ? 0 : ((times.size() - 1) * 1000 + span / 2) / span;
    return static_cast<unsigned int>(std::clamp<std::size_t>(rate, 1, 240));
}

bool Is(const std::optional<StreamInfo>& stream, const DEMUXER_PACKET& packet) {
    return stream && stream->index == packet.streamIndex;
}

}  // namespace

InputSurvey SurveyInput(LibrarySession& session, const std::string& path) {
    PacketSource source(session, path);
    InputSurvey survey;
    survey.video = source.First(StreamType::Video);
    survey.sound = source.First(StreamType::Audio);
    if (!survey.video && !survey.sound) {
        throw Failure(path + ": has neither video nor sound");
    }
    std::vector<long long> times;
    const auto take = [&](const DEMUXER_PACKET& packet) {
        const long long time = StampOf(packet);
        if (Is(survey.video, packet) && time != kNoTime) {
            times.push_back(time);
        } else if (Is(survey.sound, packet) && survey.soundBytes == 0) {
            survey.soundBytes = packet.size;
        }
    };
    const auto knowsEnough = [&] {
        return (!survey.video || times.size() >= kEnoughPictures) && (!survey.sound || survey.soundBytes > 0);
    };
    for (int packets = 0; packets < kPatience && !knowsEnough() && source.ReadNext(take); ++packets) {
    }
    survey.frameRate = RateOf(times);
    return survey;
}
