#include "decode_command.h"

#include <chrono>
#include <cstdio>
#include <deque>
#include <iomanip>
#include <iostream>
#include <memory>
#include <optional>
#include <string>

#include "digest.h"
#include "failure.h"
#include "files.h"
#include "library_session.h"
#include "media_names.h"
#include "packet_source.h"
#include "picture_decoder.h"
#include "picture_transform.h"
#include "video_input.h"

namespace {

/// A decoder has eight buffers, and one is in work.
constexpr int kMostHeld = 7;

struct DecodeOptions {
    VideoInputOptions input;
    std::string out;
    bool hashes = false;
    std::optional<PicturePart> part;
    std::optional<PictureSize> size;
    std::string colorSpace = "yuv420p";
    unsigned int rateLimit = 0;
    int hold = 0;
    bool allowResize = false;
};

/// Prints a line for each picture, and one for all of them.
class HashList {
public:
    void Add(const Picture& picture) {
        Digest md5("MD5");
        md5.Add(picture.frame->GetConstData(), picture.bytes);
        m_All.Add(picture.frame->GetConstData(), picture.bytes);
        const long long time = picture.frame->m_nTimestamp;
        std::cout << m_Count++ << "\t" << (time == kNoTime ? "-" : std::to_string(time)) << "\t" << picture.size.width
                  << "\t" << picture.size.height << "\t" << picture.bytes << "\t" << md5.Finish() << "\n";
    }
    void Finish() { std::cout << m_Count << "\t" << m_All.Finish() << "\n"; }

private:
    long long m_Count = 0;
    Digest m_All{"SHA1"};
};

struct Tally {
    long long packets = 0;
    long long pictures = 0;
    long long noPicture = 0;
    long long damaged = 0;
    long long otherSize = 0;
};

class DecodeRun {
public:
    explicit DecodeRun(const DecodeOptions& options)
        : m_Options(options),
          m_Session(options.input.logLevel),
          m_Input(FindVideoInput(m_Session, options.input)),
          m_Source(m_Session, options.input.file),
          m_Decoder(m_Session, {m_Input.stream.codecId, m_Input.size, options.allowResize}),
          m_Transform(ColorSpaceOfName(options.colorSpace), options.part) {
        if (options.size) {
            CheckSizeAskedFor(*options.size);
        }
        if (!options.out.empty()) {
            m_Out.emplace(options.out, options.input.file);
        }
        if (options.hashes) {
            m_Hashes.emplace();
        } else {
            m_Source.ShowProgress("decoding");
        }
    }

    void Run() {
        const auto start = std::chrono::steady_clock::now();
        m_Source.ReadAll([this](const DEMUXER_PACKET& packet) { TakePacket(packet); });
        CheckThatPicturesCame();
        if (m_Out) {
            m_Out->Finish();
        }
        if (m_Hashes) {
            m_Hashes->Finish();
        }
        m_Time = std::chrono::steady_clock::now() - start;
    }

    void PrintSummary() const {
        const long long skipped = m_Tally.noPicture + m_Tally.damaged + m_Tally.otherSize;
        std::cerr << "packets in " << m_Tally.packets << ", pictures out " << m_Tally.pictures << ", skipped "
                  << skipped << " (no picture " << m_Tally.noPicture << ", damaged " << m_Tally.damaged
                  << ", other size " << m_Tally.otherSize << "), time " << std::fixed << std::setprecision(3)
                  << m_Time.count() << " s\n";
    }

private:
    void TakePacket(const DEMUXER_PACKET& packet) {
        if (packet.streamIndex != m_Input.stream.index) {
            return;
        }
        if (m_Options.rateLimit != 0 && packet.pts == kNoTime) {
            throw Failure(m_Options.input.file + ": has packets without a time, so --rate cannot be kept");
        }
        ++m_Tally.packets;
        Picture picture;
        switch (m_Decoder.Decode(packet, picture, m_Options.rateLimit)) {
            case DecodeStatus::Picture:
                TakePicture(std::move(picture));
                break;
            case DecodeStatus::NoPicture:
                ++m_Tally.noPicture;
                break;
            case DecodeStatus::OtherSize:
                ++m_Tally.otherSize;
                break;
            case DecodeStatus::Damaged:
                ++m_Tally.damaged;
                break;
            case DecodeStatus::NoBuffer:
                throw Failure("the decoder has no picture buffer left");
        }
    }

    void TakePicture(Picture picture) {
        ++m_Tally.pictures;
        const Picture result = m_Transform.Apply(picture, m_Options.size.value_or(m_Transform.PartSize(picture.size)));
        if (m_Out) {
            m_Out->Write(result.frame->GetConstData(), result.bytes);
        }
        if (m_Hashes) {
            m_Hashes->Add(result);
        }
        m_Held.push_back(std::move(picture));
        if (m_Held.size() > static_cast<std::size_t>(m_Options.hold)) {
            m_Held.pop_front();
        }
    }

    void CheckThatPicturesCame() const {
        if (m_Tally.pictures > 0) {
            return;
        }
        if (m_Tally.otherSize > 0) {
            throw Failure(m_Options.input.file + ": its video gives no picture of " + SizeText(m_Input.size) +
                          "; --allow-resize takes other sizes");
        }
        throw Failure(m_Options.input.file + ": " + NoPictureText(m_Input.stream.codecId));
    }

    const DecodeOptions& m_Options;
    LibrarySession m_Session;
    VideoInput m_Input;
    PacketSource m_Source;
    PictureDecoder m_Decoder;
    PictureTransform m_Transform;
    std::optional<OutputFile> m_Out;
    std::optional<HashList> m_Hashes;
    std::deque<Picture> m_Held;
    Tally m_Tally;
    std::chrono::duration<double> m_Time{};
};

void RunDecode(const DecodeOptions& options) {
    DecodeRun run(options);
    run.Run();
    run.PrintSummary();
}

PicturePart ParsePart(const std::string& text) {
    PicturePart part{};
    int end = 0;
    const int found =
        std::sscanf(text.c_str(), "%3d,%3d,%3d,%3d%n", &part.left, &part.top, &part.right, &part.bottom, &end);
    const bool whole = found == 4 && static_cast<std::size_t>(end) == text.size();
    const auto span = [](int from, int to) { return from >= 0 && from < to && to <= 100; };
    if (!whole || !span(part.left, part.right) || !span(part.top, part.bottom)) {
        throw CLI::ValidationError("--crop", "'" + text + "' is not a part in percent such as 25,25,75,75");
    }
    return part;
}

void AddTransformOptions(CLI::App& command, DecodeOptions& options) {
    command
        .add_option_function<std::string>(
            "--crop", [&options](const std::string& text) { options.part = ParsePart(text); },
            "Take the part between these edges, in percent; it keeps the picture's shape, so that its height follows "
            "from L and R")
        ->option_text("L,T,R,B");
    AddSizeOption(command, "--size", options.size, "Scale the pictures, or their part, to this size");
    command.add_option("--csp", options.colorSpace, "The pixel format of the pictures")
        ->check(CLI::IsMember(ColorSpaceNames()))
        ->option_text("NAME");
}

void AddOptions(CLI::App& command, DecodeOptions& options) {
    AddVideoInputOptions(command, options.input);
    command.add_option("--out", options.out, "Write the pictures' bytes, one after the other")->option_text("FILE");
    command.add_flag("--hashes", options.hashes,
                     "Print number, time, width, height, bytes and MD5 of each picture, then their count and the SHA-1 "
                     "of all bytes");
    AddTransformOptions(command, options);
    command.add_option("--rate", options.rateLimit, "About so many pictures a second at most, by the packets' times")
        ->check(CLI::Range(1, 1000))
        ->option_text("N");
    command.add_option("--hold", options.hold, "Keep the last N pictures alive, 0 to 7")
        ->check(CLI::Range(0, kMostHeld))
        ->option_text("N");
    command.add_flag("--allow-resize", options.allowResize, "Take pictures of another size than the first");
}

}  // namespace

void AddDecodeCommand(CLI::App& app) {
    const auto options = std::make_shared<DecodeOptions>();
    CLI::App* command = app.add_subcommand("decode", "Decode the first video stream");
    AddOptions(*command, *options);
    command->footer("Example:\n  codrelay decode clip.mp4 --hashes --csp rgb24");
    command->callback([options] { RunDecode(*options); });
}
