// output_file.h: the file that an export writes, from the sink writer's creation to a finished file
// or none.
#pragma once

#include <windows.h>

#include <mfidl.h>
#include <mfreadwrite.h>

#include <string>
#include <utility>
#include <vector>

#include "base/com_ptr.h"

namespace velkantrix {

// One per export, used by its worker thread. What isn't kept is deleted in the end, whatever ended
// it.
class OutputFile {
public:
    // `source` is never deleted, though `path` may turn out to mean it.
    OutputFile(std::wstring path, std::wstring source)
        : path_(std::move(path)), source_(std::move(source)) {}
    ~OutputFile() { discard(); }
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    // Creates the sink writer, for an MP4 file; from then on the file may exist. An existing file
    // is overwritten: the caller has made sure that it may be. `encodeOn` is the device for
    // encoders in hardware; without it samples are copied, or encoded in software.
    [[nodiscard]] HRESULT create(IMFDXGIDeviceManager* encodeOn = nullptr);

    // What feeds the writer outlives it: samples that wait in it may be their makers' memory. Held
    // until the writer is released; then let go of, the last one first.
    void holdFeeder(IUnknown* feeder) { feeders_.push_back(ComPtr<IUnknown>::share(feeder)); }

    // The sink writer, between create() and keep() or discard().
    [[nodiscard]] IMFSinkWriter* writer() const { return writer_.get(); }

    // Completes the file and closes it. On failure it is still to be discarded.
    [[nodiscard]] HRESULT keep();

    // Closes the file and deletes it, if create() may have made it and keep() hasn't completed it.
    // One that can't be deleted stays.
    void discard();

private:
    void close();

    const std::wstring path_;
    const std::wstring source_;
    std::vector<ComPtr<IUnknown>> feeders_;
    ComPtr<IMFSinkWriter> writer_;
    bool created_ = false;
};

} // namespace velkantrix
