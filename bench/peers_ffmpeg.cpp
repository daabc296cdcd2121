extern "C" {
#include <libavcodec/avcodec.h>
}

#include <cstdio>

#include "peers.h"
#include "support.h"

namespace bench {

namespace {

// The decoder alone, on a packet that is read in one piece: the least that FFmpeg can take.
bool load(const std::string& file, const std::string& format) {
    static AVPacket* packet = av_packet_alloc();
    static AVFrame* frame = av_frame_alloc();
    const AVCodec* codec = avcodec_find_decoder_by_name(format.c_str());
    if (codec == nullptr) {
        return false;
    }
    AVCodecContext* context = avcodec_alloc_context3(codec);
    context->thread_count = 1;
    const std::size_t size = file_size(file);
    bool loaded = avcodec_open2(context, codec, nullptr) == 0 &&
                  av_new_packet(packet, static_cast<int>(size)) == 0;
    if (loaded) {
        std::FILE* stream = std::fopen(file.c_str(), "r");
        loaded = std::fread(packet->data, 1, size, stream) == size &&
                 avcodec_send_packet(context, packet) == 0 &&
                 avcodec_receive_frame(context, frame) == 0;
        std::fclose(stream);
        av_packet_unref(packet);
        av_frame_unref(frame);
    }
    avcodec_free_context(&context);
    return loaded;
}

}  // namespace

Peer ffmpeg() {
    return {"FFmpeg", load, nullptr};
}

}  // namespace bench
