#include "picture_source.h"

#include "film_source.h"
#include "y4m_source.h"

std::unique_ptr<PictureSource> PictureSource::Open(LibrarySession& session, const VideoInputOptions& input) {
    if (Y4mSource::IsY4m(input.file)) {
        return std::make_unique<Y4mSource>(session, input.file);
    }
    return std::make_unique<FilmSource>(session, input);
}
