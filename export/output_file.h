// output_file.h: the file that an export writes, from the sink writer's creation to a finished file
// or none.
#pragma once

#include <windows.h>

#include <mfidl.h>
#include <mfreadwrite.h>

#include <string>

#include "base/com_ptr.h"

namespace velkantrix {

// One per export, used by its worker thread.
class OutputFile {
public:
    explicit OutputFile(std::wstring path) : path_(std::move(path)) {}
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    // Creates the sink writer, for an MP4 file; from then on the file may exist. An existing file
    // is overwritten: the caller has made sure that it may be.
    [[nodiscard]] HRESULT create();

    // The sink writer, after create().
    [[nodiscard]] IMFSinkWriter* writer() const { return writer_.get(); }

    // Adds a stream whose samples are written as they are, and gives its index.
    [[nodiscard]] HRESULT addCopiedStream(IMFMediaType* type, DWORD& index);

    // Completes the file. It stays open until release().
    [[nodiscard]] HRESULT finalize() { return writer_->Finalize(); }

    // Lets go of the writer, which closes the file.
    void release() { writer_.reset(); }

    // After release(): deletes the file if create() may have made it, but never `source`.
    void discard(const std::wstring& source) const;

private:
    const std::wstring path_;
    ComPtr<IMFSinkWriter> writer_;
    bool created_ = false;
};

} // namespace velkantrix
