// byte_stream_handler.h: gives the program's own media source to whatever opens an MP4 file in this
// process through Media Foundation.
#pragma once

#include <windows.h>

#include <mfobjects.h>

#include <optional>
#include <string>

#include "base/com_ptr.h"
#include "playback/source_track.h"

namespace velkantrix {

// The handler, as the object that activates it. It answers IMFByteStreamHandler and IMFAttributes,
// keeps nothing of the files that it opens, and may open several at once, for any thread.
[[nodiscard]] HRESULT createMp4ByteStreamHandler(ComPtr<IMFActivate>& handler);

// Registers the handler for ".mp4" and "video/mp4", for this process only and once. Nothing is
// registered, which is no failure, when the environment variable VELKANTRIX_MP4SRC begins with "0":
// the system's source then serves these files, as it does all those that ours declines. Media
// Foundation must have been started.
[[nodiscard]] HRESULT registerMp4Source();

// How the program's own media source takes a file of that name that is opened for playing; none,
// when it isn't asked: it isn't registered, the name isn't one of its own, or the sound that it is
// to leave out is wanted. The file may be one that it declines: see openServedTracks.
[[nodiscard]] std::optional<SourceSound> mp4SourceFor(const std::wstring& path);

} // namespace velkantrix
