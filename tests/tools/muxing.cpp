#include "muxing.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>

extern "C" const char* __lsan_default_suppressions();

namespace {

/// The list that the muxers' own tests use, as a file.
std::string SuppressionFile() {
    static const ScratchFolder folder;
    std::ofstream(folder.Path("leaks")) << __lsan_default_suppressions();
    return folder.Path("leaks");
}

/// The numbers that follow `mark` in a text.
std::vector<double> NumbersAfter(const std::string& mark, const std::string& text) {
    std::vector<double> numbers;
    for (std::size_t at = text.find(mark); at != std::string::npos; at = text.find(mark, at)) {
        at += mark.size();
        const char* const begin = text.c_str() + at;
        char* end = nullptr;
        const double number = std::strtod(begin, &end);
        if (end != begin) {
            numbers.push_back(number);
        }
    }
    return numbers;
}

std::vector<std::string> Probed(const std::string& path, const std::string& stream, const std::string& entries) {
    const ProcessResult run = RunCommand("ffprobe -v error -select_streams " + stream + ":0 " + entries +
                                         " -of default=nokey=1:noprint_wrappers=1 " + Quoted(path));
    return Lines(run.out);
}

}  // namespace

ProcessResult RunMuxing(const std::string& arguments) {
    return RunCommand(MuxingEnvironment() + " " CODRELAY_COMMAND " " + arguments);
}

std::string MuxingEnvironment() {
    static const std::string suppressions = SuppressionFile();
    return "LSAN_OPTIONS=suppressions=" + suppressions +
           ":print_suppressions=0 ASAN_OPTIONS=\"$ASAN_OPTIONS:fast_unwind_on_malloc=0\"";
}

void MakeByPeer(const std::string& arguments, const std::string& path) {
    const ProcessResult made = RunCommand("ffmpeg -nostdin -v error -y " + arguments + " " + Quoted(path));
    if (made.exitCode != 0) {
        throw std::runtime_error("ffmpeg cannot make " + path + ": " + made.err);
    }
}

PeerFilm ReadByPeer(const std::string& path) {
    PeerFilm film;
    const auto video = Probed(path, "v", "-count_frames -show_entries stream=codec_name,width,height,nb_read_frames");
    if (video.size() >= 4) {
        film.videoCodec = video[0];
        film.size = video[1] + "x" + video[2];
        film.pictures = std::stoi(video[3]);
    }
    const auto sound = Probed(path, "a", "-count_packets -show_entries stream=codec_name,nb_read_packets");
    if (sound.size() >= 2) {
        film.audioCodec = sound[0];
        film.soundPackets = std::stoi(sound[1]);
    }
    // At the times of the file: the peer would round them to a rate that the stream may tell.
    film.complaints = RunCommand("ffmpeg -nostdin -v error -i " + Quoted(path) + " -enc_time_base -1 -f null -").err;
    return film;
}

std::vector<double> PacketTimes(const std::string& path, const std::string& stream) {
    std::vector<double> times;
    for (const std::string& time : Probed(path, stream, "-show_entries packet=pts_time")) {
        times.push_back(std::stod(time) * 1000);
    }
    return times;
}

std::vector<double> BeepsAfterFlashes(const std::string& path) {
    const std::string told = RunCommand("ffmpeg -nostdin -hide_banner -copyts -i " + Quoted(path) +
                                        " -vf blackdetect=d=0.2 -af silencedetect=d=0.2:n=-30dB -f null -")
                                 .err;
    const std::vector<double> flashes = NumbersAfter("black_end:", told);
    const std::vector<double> beeps = NumbersAfter("silence_end:", told);
    std::vector<double> offsets;
    for (const double flash : flashes) {
        const auto nearest = std::min_element(beeps.begin(), beeps.end(), [flash](double a, double b) {
            return std::fabs(a - flash) < std::fabs(b - flash);
        });
        if (nearest != beeps.end()) {
            offsets.push_back((*nearest - flash) * 1000);
        }
    }
    if (!offsets.empty()) {
        // The end of the film ends the last darkness.
        offsets.pop_back();
    }
    return offsets;
}
