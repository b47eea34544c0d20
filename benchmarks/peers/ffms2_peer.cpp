// Before it decodes, this one indexes the whole file.

#include <ffms.h>

#include <cstdlib>

int main(int argc, char** argv) {
    if (argc != 3) {
        return 2;
    }
    FFMS_Init(0, 0);
    FFMS_Indexer* indexer = FFMS_CreateIndexer(argv[1], nullptr);
    FFMS_Index* index = indexer != nullptr ? FFMS_DoIndexing2(indexer, FFMS_IEH_ABORT, nullptr) : nullptr;
    const int track = index != nullptr ? FFMS_GetFirstTrackOfType(index, FFMS_TYPE_VIDEO, nullptr) : -1;
    FFMS_VideoSource* film =
        track >= 0 ? FFMS_CreateVideoSource(argv[1], track, index, 1, FFMS_SEEK_NORMAL, nullptr) : nullptr;
    if (film == nullptr) {
        return 1;
    }
    const int count = std::atoi(argv[2]);
    int picture = 0;
    while (picture < count && FFMS_GetFrame(film, picture, nullptr) != nullptr) {
        ++picture;
    }
    FFMS_DestroyVideoSource(film);
    FFMS_DestroyIndex(index);
    return picture == count ? 0 : 1;
}
