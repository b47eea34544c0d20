// Draws a test card, eight bars and a white block that moves across them, and encodes two seconds of it as H.264.
//
//   example_encode_test_card OUT.264
#include <codrelay/codrelay.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <vector>

namespace {

constexpr unsigned int kWidth = 320;
constexpr unsigned int kHeight = 240;
constexpr unsigned int kRate = 25;
constexpr unsigned int kPictures = 2 * kRate;

/// A picture of the host's own: it only has to say where its bytes are. Planes Y, U, V, back to back.
class Card : public CFrameBufferBase {
public:
    Card() : m_Bytes(kWidth * kHeight * 3 / 2) {
        m_nColorSpace = CSP_YUV420P;
        m_nWidth = kWidth;
        m_nHeight = kHeight;
    }
    unsigned char* GetData() override { return m_Bytes.data(); }
    const unsigned char* GetConstData() override { return m_Bytes.data(); }

    void Draw(unsigned int number) {
        // White, yellow, cyan, green, magenta, red, blue, black.
        static const unsigned char bars[8][3] = {{235, 128, 128}, {210, 16, 146}, {170, 166, 16}, {145, 54, 34},
                                                 {106, 202, 222}, {81, 90, 240},  {41, 240, 110}, {16, 128, 128}};
        unsigned char* const u = m_Bytes.data() + std::size_t{kWidth} * kHeight;
        unsigned char* const v = u + std::size_t{kWidth} * kHeight / 4;
        for (unsigned int y = 0; y < kHeight; ++y)
            for (unsigned int x = 0; x < kWidth; ++x) {
                const unsigned char* color = IsInBlock(x, y, number) ? bars[0] : bars[x * 8 / kWidth];
                m_Bytes[y * kWidth + x] = color[0];
                u[y / 2 * (kWidth / 2) + x / 2] = color[1];
                v[y / 2 * (kWidth / 2) + x / 2] = color[2];
            }
    }

private:
    static bool IsInBlock(unsigned int x, unsigned int y, unsigned int number) {
        return x / 32 == number * 10 / kPictures && y >= kHeight - 32;
    }

    std::vector<unsigned char> m_Bytes;
};

int Fail(const char* what) {
    std::fprintf(stderr, "%s\n", what);
    return 1;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2)
        return Fail("usage: example_encode_test_card OUT.264");
    Codrelay_Create(nullptr);
    // What FFmpeg itself writes to stderr; it warns of much that is as it should be.
    Codrelay_SetFfmpegLogLevel("error");

    CVideoEncoderBase* encoder = Codrelay_VideoEncoder(VIDEO_CODEC_H264, "");
    if (encoder->CreateEncoder(CSP_YUV420P, kWidth, kHeight, kRate, 800000, 0, 1, static_cast<int>(kRate)) != 1)
        return Fail("the encoder does not open");
    std::vector<unsigned char> packet(static_cast<std::size_t>(encoder->GetMaxOutFrameLength(kWidth, kHeight)));

    std::ofstream out(argv[1], std::ios::binary);
    Card card;
    unsigned int packets = 0;
    unsigned int keyPackets = 0;
    for (unsigned int number = 0; number < kPictures; ++number) {
        card.Draw(number);
        int key = number == 0 ? 1 : 0;  // in: one is wanted; out: it is one
        const int bytes = encoder->Encode(&card, packet.data(), static_cast<unsigned int>(packet.size()), &key);
        if (bytes < 0)
            return Fail("a picture was not encoded");
        if (bytes == 0)
            continue;  // the encoder left the picture out to keep its rate
        out.write(reinterpret_cast<const char*>(packet.data()), bytes);
        ++packets;
        keyPackets += key != 0 ? 1 : 0;
    }
    encoder->DestroyEncoder();
    encoder->Delete();
    Codrelay_Destroy();
    std::printf("%u pictures, %u packets, %u of them key packets\n", kPictures, packets, keyPackets);
    return out.flush() ? 0 : Fail("the file cannot be written");
}
