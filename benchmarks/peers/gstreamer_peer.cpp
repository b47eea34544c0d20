#include <gst/app/gstappsink.h>
#include <gst/gst.h>

#include <cstdlib>
#include <string>

namespace {

/// One picture as tight bytes in memory. False at the end.
bool Pull(GstAppSink* sink) {
    GstSample* sample = gst_app_sink_pull_sample(sink);
    if (sample == nullptr) {
        return false;
    }
    GstMapInfo bytes;
    const bool mapped = gst_buffer_map(gst_sample_get_buffer(sample), &bytes, GST_MAP_READ) != FALSE;
    if (mapped) {
        gst_buffer_unmap(gst_sample_get_buffer(sample), &bytes);
    }
    gst_sample_unref(sample);
    return mapped;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        return 2;
    }
    gst_init(nullptr, nullptr);
    const std::string description = std::string("filesrc location=\"") + argv[1] +
                                    "\" ! qtdemux ! h264parse ! avdec_h264 max-threads=1 ! video/x-raw,format=I420"
                                    " ! appsink name=sink sync=false max-buffers=4";
    GstElement* pipeline = gst_parse_launch(description.c_str(), nullptr);
    GstElement* sink = pipeline != nullptr ? gst_bin_get_by_name(GST_BIN(pipeline), "sink") : nullptr;
    if (sink == nullptr) {
        return 1;
    }
    gst_element_set_state(pipeline, GST_STATE_PLAYING);
    int left = std::atoi(argv[2]);
    while (left > 0 && Pull(GST_APP_SINK(sink))) {
        --left;
    }
    gst_element_set_state(pipeline, GST_STATE_NULL);
    gst_object_unref(sink);
    gst_object_unref(pipeline);
    return left == 0 ? 0 : 1;
}
