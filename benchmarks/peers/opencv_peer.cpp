// VideoCapture gives BGR24 and nothing else here.

#include <cstdlib>
#include <opencv2/videoio.hpp>

int main(int argc, char** argv) {
    if (argc != 3) {
        return 2;
    }
    cv::VideoCapture capture(argv[1], cv::CAP_FFMPEG);
    cv::Mat picture;
    int left = std::atoi(argv[2]);
    while (left > 0 && capture.read(picture) && picture.data != nullptr) {
        --left;
    }
    return left == 0 ? 0 : 1;
}
