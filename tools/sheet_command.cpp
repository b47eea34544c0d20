#include "sheet_command.h"

#include <png.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <memory>
#include <optional>
#include <queue>
#include <string>
#include <vector>

#include "failure.h"
#include "files.h"
#include "image.h"
#include "library_session.h"
#include "packet_source.h"
#include "picture_decoder.h"
#include "picture_transform.h"
#include "sheet_layout.h"
#include "video_input.h"

namespace {

constexpr int kNarrowestCell = 16;
/// Beyond this nobody opens the sheet, and it no longer fits in memory.
constexpr std::uint64_t kMostPixels = 100'000'000;

struct SheetOptions {
    VideoInputOptions input;
    std::string out;
    int columns = 4;
    int rows = 3;
    int width = 1280;
};

/// The decoder gives a picture the time of the packet that it came out with. Where pictures are reordered that is
/// another picture's; the pictures come in the order of their times, so each has the earliest time that is still due.
class PictureClock {
public:
    void PacketIn(long long time) {
        m_Due.push(time);
        // No codec reorders over more; earlier times belong to pictures that never came.
        if (m_Due.size() > kMostReordered + 1) {
            m_Due.pop();
        }
    }
    long long PictureOut() {
        const long long time = m_Due.top();
        m_Due.pop();
        return time;
    }

private:
    static constexpr std::size_t kMostReordered = 16;
    std::priority_queue<long long, std::vector<long long>, std::greater<>> m_Due;
};

/// "1:02.345", from an hour on "1:01:02.345".
std::string ClockText(long long milliseconds) {
    if (milliseconds == kNoTime) {
        return "-";
    }
    const std::string sign = milliseconds < 0 ? "-" : "";
    const long long time = std::llabs(milliseconds);
    const long long hours = time / 3'600'000;
    std::array<char, 32> rest;
    std::snprintf(rest.data(), rest.size(), hours > 0 ? "%02lld:%02lld.%03lld" : "%lld:%02lld.%03lld",
                  time / 60'000 % 60, time / 1000 % 60, time % 1000);
    return sign + (hours > 0 ? std::to_string(hours) + ":" : "") + rest.data();
}

/// Picks the pictures of packets that are spread evenly over `packets`.
class EvenPicker {
public:
    EvenPicker(long long packets, long long wanted) : m_Packets(packets), m_Wanted(wanted) {}

    bool Wants(long long packet) {
        const bool wants = m_Picked < m_Wanted && packet >= NextPacket();
        while (m_Picked < m_Wanted && packet >= NextPacket()) {
            ++m_Picked;
        }
        return wants;
    }

private:
    /// The middle of the next share.
    long long NextPacket() const { return (2 * m_Picked + 1) * m_Packets / (2 * m_Wanted); }

    long long m_Packets;
    long long m_Wanted;
    long long m_Picked = 0;
};

void WritePng(const Image& image, OutputFile& out) {
    png_image header{};
    header.version = PNG_IMAGE_VERSION;
    header.width = static_cast<png_uint_32>(image.Width());
    header.height = static_cast<png_uint_32>(image.Height());
    header.format = PNG_FORMAT_RGB;
    if (png_image_write_to_stdio(&header, out.Get(), 0, image.Data(), 0, nullptr) == 0) {
        out.FailToWrite();
    }
    out.Finish();
}

long long CountPackets(LibrarySession& session, const std::string& file, int stream) {
    PacketSource source(session, file);
    source.ShowProgress("counting");
    long long count = 0;
    source.ReadAll([&](const DEMUXER_PACKET& packet) { count += packet.streamIndex == stream ? 1 : 0; });
    return count;
}

class SheetRun {
public:
    explicit SheetRun(const SheetOptions& options)
        : m_Options(options),
          m_Session(options.input.logLevel),
          m_Input(FindVideoInput(m_Session, options.input)),
          m_Packets(CountPackets(m_Session, options.input.file, m_Input.stream.index)),
          m_Picker(m_Packets, static_cast<long long>(options.columns) * options.rows),
          m_Layout(Columns(), options.width, m_Input.size),
          m_Decoder(m_Session, {m_Input.stream.codecId, m_Input.size, true}),
          m_Out(options.out, options.input.file) {}

    void Run() {
        CheckSheetSize();
        PacketSource source(m_Session, m_Options.input.file);
        source.ShowProgress("decoding");
        source.ReadAll([this](const DEMUXER_PACKET& packet) { TakePacket(packet); });
        if (m_Cells.empty()) {
            throw Failure(m_Options.input.file + ": " + NoPictureText(m_Input.stream.codecId));
        }
        WritePng(m_Layout.Assemble(m_Cells), m_Out);
    }

    void PrintSummary() const {
        std::cerr << m_Options.out << ": " << m_Cells.size() << " of " << m_Pictures << " pictures\n";
    }

private:
    int Columns() const { return static_cast<int>(std::min<long long>(m_Options.columns, std::max(m_Packets, 1LL))); }

    void CheckSheetSize() const {
        const PictureSize size = m_Layout.SheetSize(m_Options.rows);
        if (std::uint64_t{size.width} * size.height > kMostPixels) {
            throw Failure("the sheet would have " + SizeText(size) + " pixels; take a smaller --width or fewer --rows");
        }
    }

    void TakePacket(const DEMUXER_PACKET& packet) {
        if (packet.streamIndex != m_Input.stream.index) {
            return;
        }
        const long long number = m_Number++;
        Picture picture;
        const DecodeStatus status = m_Decoder.Decode(packet, picture);
        if (status == DecodeStatus::Picture || status == DecodeStatus::NoPicture) {
            m_Clock.PacketIn(packet.pts);
        }
        if (status == DecodeStatus::Picture) {
            ++m_Pictures;
            const long long time = m_Clock.PictureOut();
            if (m_Picker.Wants(number)) {
                const Picture fitting = m_Transform.Apply(picture, m_Layout.SizeInCell(picture.size));
                m_Cells.push_back(m_Layout.DrawCell(fitting.frame->GetConstData(), fitting.size, ClockText(time)));
            }
        }
    }

    const SheetOptions& m_Options;
    LibrarySession m_Session;
    VideoInput m_Input;
    long long m_Packets;
    EvenPicker m_Picker;
    SheetLayout m_Layout;
    PictureDecoder m_Decoder;
    PictureTransform m_Transform{CSP_RGB24};
    OutputFile m_Out;
    PictureClock m_Clock;
    long long m_Number = 0;
    long long m_Pictures = 0;
    std::vector<Image> m_Cells;
};

void CheckShape(const SheetOptions& options) {
    const int cell = SheetLayout::CellWidth(options.columns, options.width);
    if (cell < kNarrowestCell) {
        throw CLI::ValidationError("--columns", "leaves no room for the pictures; take fewer, or a larger --width");
    }
}

void RunSheet(const SheetOptions& options) {
    CheckShape(options);
    SheetRun run(options);
    run.Run();
    run.PrintSummary();
}

}  // namespace

void AddSheetCommand(CLI::App& app) {
    const auto options = std::make_shared<SheetOptions>();
    CLI::App* command = app.add_subcommand("sheet", "Write a contact sheet of the first video stream as PNG");
    AddVideoInputOptions(*command, options->input);
    command->add_option("OUT.png", options->out, "The sheet")->required();
    command->add_option("--columns", options->columns, "Pictures in a row")->check(CLI::Range(1, 64))->option_text("N");
    command->add_option("--rows", options->rows, "Rows of pictures")->check(CLI::Range(1, 64))->option_text("N");
    command->add_option("--width", options->width, "Width of the sheet in pixels")
        ->check(CLI::Range(32, 16384))
        ->option_text("N");
    command->footer("Example:\n  codrelay sheet clip.mp4 sheet.png --columns 5 --rows 4");
    command->callback([options] { RunSheet(*options); });
}
