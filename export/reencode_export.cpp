// Threads: the export's worker.
#include "export/reencode_export.h"

#include <mfapi.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <utility>

#include "base/exposure.h"
#include "export/encode_cutter.h"
#include "export/encode_reader.h"
#include "export/encode_samples.h"
#include "export/encode_sound.h"
#include "export/sample_reads.h"
#include "platform/graphics_device.h"
#include "platform/hresult.h"
#include "platform/mf_util.h"
#include "platform/source_choice.h"

namespace velkantrix {
namespace {

// How far one stream may be ahead of the other in the output. What writes them into one file waits
// for the one that is behind; with more than this waiting, the export would wait for it in turn.
constexpr Ticks MOST_AHEAD = TICKS_PER_SECOND / 4;

// A reader that changes a stream's type again before anything of it is written in the one asked for
// would do so for ever.
constexpr int MOST_ASKINGS = 4;

// A sound that was read before its turn.
struct HeldSound {
    ComPtr<IMFSample> sample; // none: nothing is held
    EncodeCut cut;
};

// One re-encode: the streams on both sides, and the decisions. All that it is given outlives it.
class Reencoder {
public:
    Reencoder(const ExportRequest& request, IMFSourceReader* reader, const SourceStreams& streams,
              const PicturePlan& plan, IMFSinkWriter* writer, const EncodeWait& wait,
              std::int64_t readsPerSpan)
        : request_(request),
          source_(reader),
          reader_(reader, streams, plan),
          streams_(streams),
          plan_(plan),
          writer_(writer),
          readsPerSpan_(readsPerSpan),
          cutter_(request.spans),
          pool_(makePicturePool(plan.size)),
          pictureDuration_(
              nearestTicks(static_cast<double>(plan.rate.denominator) / plan.rate.numerator)),
          pictures_(request, writer, wait),
          sound_(EncodeOutlet(request, writer, wait)) {
        if (isExposed(request.exposure)) exposure_ = exposureTable(request.exposure);
    }

    [[nodiscard]] HRESULT settleTypes(const ExportSpan& first);
    [[nodiscard]] HRESULT createStreams();
    [[nodiscard]] HRESULT encodeSpan(const ExportSpan& span, bool isLast);

private:
    [[nodiscard]] HRESULT beginSpan(const ExportSpan& span);
    [[nodiscard]] HRESULT answerChange(Read& next, bool& setBack);
    [[nodiscard]] HRESULT handle(const Read& next);
    [[nodiscard]] HRESULT writePicture(const Read& next);
    [[nodiscard]] HRESULT writeSound(const Read& next);
    [[nodiscard]] HRESULT goOnWithSound();
    [[nodiscard]] bool isTooEarlyForSound() const;
    [[nodiscard]] DWORD nextStream() const;
    [[nodiscard]] Ticks soundMayReach() const;
    [[nodiscard]] Ticks picturesAhead() const;
    [[nodiscard]] bool cancelled() const { return isCancelled(request_); }

    const ExportRequest& request_;
    IMFSourceReader* const source_;
    EncodeReader reader_;
    const SourceStreams& streams_;
    const PicturePlan& plan_;
    IMFSinkWriter* const writer_;
    const std::int64_t readsPerSpan_;
    EncodeCutter cutter_;
    std::optional<LumaTable> exposure_; // absent: pictures stay as bright as they are
    const std::shared_ptr<PicturePool> pool_;
    const Ticks pictureDuration_; // at the output's rate
    EncodeOutlet pictures_;
    bool onDevice_ = false; // their encoder is the device's own; known once it is found
    EncodeSound sound_;     // unused where the source has none
    // In the output.
    Ticks lastPicture_ = 0;
    Ticks picturesEnd_ = 0;
    HeldSound held_;
    bool hasPictures_ = false;
    // Since something of the stream was written, or the span began.
    int picturesAsked_ = 0;
    int soundAsked_ = 0;
};

HRESULT Reencoder::beginSpan(const ExportSpan& span) {
    picturesAsked_ = soundAsked_ = 0;
    cutter_.beginSpan(span, streams_.audio.has_value());
    sound_.beginSpan();
    return seekReader(source_, cutter_.startTicks());
}

// What pictures really are may show with the first one that is decoded. It is thrown away: the span
// is read from its start.
HRESULT Reencoder::settleTypes(const ExportSpan& first) {
    RETURN_IF_FAILED(reader_.setTypes());
    if (cancelled()) return S_OK;
    RETURN_IF_FAILED(beginSpan(first));
    ReadBudget budget(readsPerSpan_);
    for (bool settled = false; !settled && !cancelled();) {
        if (!budget.take()) return TOO_MANY_READS;
        Read next;
        bool setBack = false;
        RETURN_IF_FAILED(reader_.read(*streams_.video, next));
        RETURN_IF_FAILED(answerChange(next, setBack));
        settled = !setBack && (next.sample || next.atEnd);
    }
    return S_OK;
}

// Some readers tell a change once; others whenever they come by it, so that setting them back is
// worth one try. Behind that, sound goes on without what came with the change and what was decoded
// ahead: there is silence in its place. Pictures don't: a hole in them would be taken for a picture
// that stands.
HRESULT Reencoder::answerChange(Read& next, bool& setBack) {
    if (reader_.picturesAskedAgain()) picturesAsked_++;
    if (reader_.soundAskedAgain()) soundAsked_++;
    if (std::max(picturesAsked_, soundAsked_) > MOST_ASKINGS) return CHANGES_FOR_EVER;
    setBack = reader_.picturesAskedAgain() || (reader_.soundAskedAgain() && soundAsked_ == 1);
    if (setBack) return seekReader(source_, cutter_.readAgain());
    if (reader_.soundAskedAgain() && next.stream == streams_.audio) next.sample.reset();
    return S_OK;
}

HRESULT Reencoder::createStreams() {
    ComPtr<IMFMediaType> encoded;
    RETURN_IF_FAILED(makeH264Type(plan_, encoded));
    RETURN_IF_FAILED(pictures_.create(encoded.get(), reader_.pictures()));
    if (streams_.audio) {
        RETURN_IF_FAILED(makeAacType(encoded));
        RETURN_IF_FAILED(sound_.outlet().create(encoded.get(), reader_.sound()));
    }
    RETURN_IF_FAILED(writer_->BeginWriting());
    onDevice_ = pictures_.encodesOnDevice();
    return S_OK;
}

HRESULT Reencoder::encodeSpan(const ExportSpan& span, bool isLast) {
    RETURN_IF_FAILED(beginSpan(span));
    ReadBudget budget(readsPerSpan_);
    while (!cutter_.spanDone() && !cancelled()) {
        if (!budget.take()) return TOO_MANY_READS;
        Read next;
        bool setBack = false;
        RETURN_IF_FAILED(reader_.read(nextStream(), next));
        RETURN_IF_FAILED(answerChange(next, setBack));
        if (setBack) continue;
        RETURN_IF_FAILED(handle(next));
        if (isLast && cutter_.videoDone() && !hasPictures_) return NO_PICTURES;
        if (streams_.audio) RETURN_IF_FAILED(goOnWithSound());
    }
    if (request_.spanWritten) request_.spanWritten(cutter_.written());
    cutter_.endSpan();
    return S_OK;
}

// Whichever comes, unless one is too far behind the other.
DWORD Reencoder::nextStream() const {
    if (!streams_.audio) return ANY_STREAM;
    if (cutter_.videoDone()) return *streams_.audio;
    if (cutter_.audioDone()) return *streams_.video;
    const Ticks ahead = picturesAhead();
    if (!held_.sample && ahead > MOST_AHEAD) return *streams_.audio;
    if (held_.sample || ahead < -MOST_AHEAD) return *streams_.video;
    return ANY_STREAM;
}

// A picture may stand for hours. What writes both into one file may take no sound that is far
// behind its beginning; so the next one is read first, as long as there is one.
Ticks Reencoder::soundMayReach() const {
    if (cutter_.videoDone()) return picturesEnd_;
    return std::min(picturesEnd_, addTicks(lastPicture_, MOST_AHEAD));
}

Ticks Reencoder::picturesAhead() const {
    return subtractTicks(std::max(soundMayReach(), cutter_.outBase()),
                         std::max(sound_.end(), cutter_.outBase()));
}

HRESULT Reencoder::handle(const Read& next) {
    const bool picture = next.stream == streams_.video;
    if (!picture && next.stream != streams_.audio) return S_OK;
    if (next.sample) RETURN_IF_FAILED(picture ? writePicture(next) : writeSound(next));
    if (next.atEnd) cutter_.endStream(picture ? EncodedStream::Video : EncodedStream::Audio);
    return S_OK;
}

HRESULT Reencoder::writePicture(const Read& next) {
    const Ticks stated = durationOf(next.sample.get());
    const EncodeCut cut = cutter_.place(EncodedStream::Video, next.time,
                                        stated > 0 ? stated : pictureDuration_, stated > 0);
    if (!cut.write) return S_OK;
    picturesAsked_ = 0;
    ComPtr<IMFSample> picture = next.sample;
    PictureForm form;
    RETURN_IF_FAILED(lookAtPicture(picture.get(), plan_.size, onDevice_, form));
    // One with lines that aren't seen would be taken for one without: its last lines for colours.
    if (exposure_ || cut.gain != NO_FADE || !form.fits) {
        const PictureEffect effect = pictureEffect(exposure_ ? &*exposure_ : nullptr, cut.gain);
        const PictureChange change = {plan_.size, reader_.coded(), effect};
        RETURN_IF_FAILED(copyPicture(next.sample.get(), change, pool_, picture));
    }
    // It is on the source's time line, if it is there.
    ignoreResult(picture->DeleteItem(MFSampleExtension_DecodeTimestamp), "mostly there is none");
    RETURN_IF_FAILED(pictures_.write(picture.get(), cut.time, cut.duration, form.bytes));
    hasPictures_ = true;
    sound_.pictureWritten();
    lastPicture_ = std::max(lastPicture_, cut.time);
    picturesEnd_ = std::max(picturesEnd_, addTicks(cut.time, cut.duration));
    if (request_.progress) request_.progress(cutter_.progressAt(cut.time));
    pictures_.waitForEncoder();
    return S_OK;
}

HRESULT Reencoder::writeSound(const Read& next) {
    Ticks duration = 0;
    RETURN_IF_FAILED(soundDuration(next.sample.get(), duration));
    const EncodeCut cut = cutter_.place(EncodedStream::Audio, next.time, duration);
    if (!cut.write) return S_OK;
    soundAsked_ = 0;
    held_ = {next.sample, cut};
    return S_OK;
}

// Writes sound, or silence, as far as pictures have come. Behind the last of both there is nothing:
// a source that breaks off must not come out as long as was asked for.
HRESULT Reencoder::goOnWithSound() {
    if (held_.sample) {
        if (isTooEarlyForSound()) return sound_.fill(soundMayReach());
        const HeldSound next = std::exchange(held_, {});
        RETURN_IF_FAILED(sound_.write(next.sample.get(), next.cut));
    }
    return cutter_.audioDone() ? sound_.fill(soundMayReach()) : S_OK;
}

// Of the sound that is held. Where the span before ended early, it has silence in front of it, of
// an hour maybe, which its encoder may not get on with before there is a picture behind it.
bool Reencoder::isTooEarlyForSound() const {
    if (cutter_.videoDone()) return false;
    const Ticks time = held_.cut.time;
    const Ticks reached = std::max(soundMayReach(), cutter_.outBase());
    if (subtractTicks(time, reached) > MOST_AHEAD) return true;
    return !cutter_.hasPictures() && subtractTicks(time, sound_.end()) > MOST_AHEAD;
}

// Decodes and scales on the device.
HRESULT openDecodingReader(const ExportRequest& request, IMFDXGIDeviceManager* manager,
                           ComPtr<IMFSourceReader>& reader) {
    ComPtr<IMFAttributes> attributes;
    RETURN_IF_FAILED(MFCreateAttributes(attributes.put(), 5));
    RETURN_IF_FAILED(attributes->SetUINT32(MF_READWRITE_ENABLE_HARDWARE_TRANSFORMS, TRUE));
    RETURN_IF_FAILED(
        attributes->SetUINT32(MF_SOURCE_READER_ENABLE_ADVANCED_VIDEO_PROCESSING, TRUE));
    RETURN_IF_FAILED(attributes->SetUnknown(MF_SOURCE_READER_D3D_MANAGER, manager));
    const AllStreamsWanted choice;
    return openSourceReader(request.sourcePath.c_str(), reader, attributes.get());
}

} // namespace

HRESULT reencode(const ExportRequest& request, OutputFile& output) {
    GraphicsDevice device;
    RETURN_IF_FAILED(createGraphicsDevice(device));
    output.holdFeeder(device.manager.get());
    ComPtr<IMFSourceReader> reader;
    RETURN_IF_FAILED(openDecodingReader(request, device.manager.get(), reader));
    output.holdFeeder(reader.get());
    SourceStreams streams;
    RETURN_IF_FAILED(discoverStreams(reader.get(), streams));
    PicturePlan plan;
    RETURN_IF_FAILED(planPictures(request, streams.videoType, plan));
    RETURN_IF_FAILED(output.create(device.manager.get()));
    return encodeSpans(request, reader.get(), streams, plan, output.writer());
}

HRESULT encodeSpans(const ExportRequest& request, IMFSourceReader* reader,
                    const SourceStreams& streams, const PicturePlan& plan, IMFSinkWriter* writer,
                    const EncodeWait& wait, std::int64_t readsPerSpan) {
    Reencoder encoder(request, reader, streams, plan, writer, wait, readsPerSpan);
    RETURN_IF_FAILED(encoder.settleTypes(request.spans.front()));
    RETURN_IF_FAILED(encoder.createStreams());
    for (const ExportSpan& span : request.spans) {
        if (isCancelled(request)) break;
        RETURN_IF_FAILED(encoder.encodeSpan(span, &span == &request.spans.back()));
    }
    return S_OK;
}

} // namespace velkantrix
