#include "video_decoder/waiting_pictures.h"

#include <utility>

bool WaitingPictures::Add(AVFrame* picture) {
    std::unique_ptr<AVFrame, Free> kept(av_frame_alloc());
    if (kept == nullptr) {
        return false;
    }
    m_Pictures.push_back(std::move(kept));
    av_frame_move_ref(m_Pictures.back().get(), picture);
    return true;
}

bool WaitingPictures::Take(AVFrame* picture) {
    if (m_Pictures.empty()) {
        return false;
    }
    av_frame_unref(picture);
    av_frame_move_ref(picture, m_Pictures.front().get());
    m_Pictures.erase(m_Pictures.begin());
    return true;
}

void WaitingPictures::Clear() {
    m_Pictures.clear();
}
