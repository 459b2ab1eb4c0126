// seek-decode FILE SEED COUNT: how long libavformat and libavcodec take to seek to random times of
// a video and decode the keyframe in front, and on to the picture of that time. A JSON object for
// each: milliseconds by the clock. The times are those of scrub-bench.
extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <optional>

#include "tests/support/random_choices.h"

namespace velkantrix {
namespace {

using Clock = std::chrono::steady_clock;

struct Closer {
    void operator()(AVFormatContext* context) const { avformat_close_input(&context); }
    void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};

double millisecondsSince(Clock::time_point begun) {
    return std::chrono::duration<double, std::milli>(Clock::now() - begun).count();
}

void print(const char* name, double value) {
    std::printf("{\"name\": \"%s\", \"ms\": %.3f}\n", name, value);
}

class Video {
public:
    bool open(const char* path) {
        AVFormatContext* opened = nullptr;
        if (avformat_open_input(&opened, path, nullptr, nullptr) < 0) return false;
        input_.reset(opened);
        if (avformat_find_stream_info(opened, nullptr) < 0) return false;
        const AVCodec* codec = nullptr;
        stream_ = av_find_best_stream(opened, AVMEDIA_TYPE_VIDEO, -1, -1, &codec, 0);
        if (stream_ < 0) return false;
        decoder_.reset(avcodec_alloc_context3(codec));
        avcodec_parameters_to_context(decoder_.get(), stream()->codecpar);
        decoder_->thread_count = 2;
        return avcodec_open2(decoder_.get(), codec, nullptr) >= 0;
    }

    bool measure(double seconds, bool counts) {
        const AVRational base = stream()->time_base;
        const auto target = static_cast<std::int64_t>((seconds + 0.001) * base.den / base.num);
        const auto begun = Clock::now();
        if (!seek(target)) return false;
        const bool keyframe = decodeFirst();
        const double key = millisecondsSince(begun);
        const auto again = Clock::now();
        if (!keyframe || !seek(target) || !decodeTo(target)) return false;
        if (!counts) return true;
        print("keyframe", key);
        print("exact", millisecondsSince(again));
        return true;
    }

private:
    [[nodiscard]] AVStream* stream() const { return input_->streams[stream_]; }

    bool seek(std::int64_t target) {
        avcodec_flush_buffers(decoder_.get());
        return av_seek_frame(input_.get(), stream_, target, AVSEEK_FLAG_BACKWARD) >= 0;
    }

    // False at the end.
    bool sendNext() {
        while (av_read_frame(input_.get(), packet_.get()) >= 0) {
            const bool ours = packet_->stream_index == stream_;
            if (ours) avcodec_send_packet(decoder_.get(), packet_.get());
            av_packet_unref(packet_.get());
            if (ours) return true;
        }
        return false;
    }

    // The keyframe alone: the decoder is drained behind it.
    bool decodeFirst() {
        if (!sendNext()) return false;
        avcodec_send_packet(decoder_.get(), nullptr);
        return avcodec_receive_frame(decoder_.get(), frame_.get()) >= 0;
    }

    bool decodeTo(std::int64_t target) {
        bool any = false;
        for (bool more = true; more;) {
            more = sendNext();
            if (!more) avcodec_send_packet(decoder_.get(), nullptr);
            while (avcodec_receive_frame(decoder_.get(), frame_.get()) >= 0) {
                if (any && frame_->pts > target) return true;
                any = true;
            }
        }
        return any;
    }

    std::unique_ptr<AVFormatContext, Closer> input_;
    std::unique_ptr<AVCodecContext, Closer> decoder_;
    std::unique_ptr<AVPacket, Closer> packet_{av_packet_alloc()};
    std::unique_ptr<AVFrame, Closer> frame_{av_frame_alloc()};
    int stream_ = -1;
};

int run(const char* path, std::uint64_t seed, int count) {
    Video video;
    if (!video.open(path)) return 2;
    RandomChoices choices(seed);
    for (int i = 0; i < count + 1; ++i)
        if (!video.measure(choices.below(9'000) / 1000.0, i > 0)) return 3;
    return 0;
}

} // namespace
} // namespace velkantrix

int main(int count, char** words) {
    if (count != 4) return 1;
    return velkantrix::run(words[1], std::strtoull(words[2], nullptr, 10), std::atoi(words[3]));
}
