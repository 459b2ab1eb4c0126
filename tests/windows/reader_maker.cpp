#include "tests/windows/reader_maker.h"

namespace velkantrix {

ReaderMaker& readerMaker() {
    static ReaderMaker maker;
    return maker;
}

} // namespace velkantrix

// The linker passes the program's calls to the first, and the first's to the system's by the
// second.
extern "C" HRESULT WINAPI __real_MFCreateSourceReaderFromURL(const wchar_t* url,
                                                             IMFAttributes* attributes,
                                                             IMFSourceReader** reader);
extern "C" HRESULT WINAPI __wrap_MFCreateSourceReaderFromURL(const wchar_t* url,
                                                             IMFAttributes* attributes,
                                                             IMFSourceReader** reader) {
    const velkantrix::ReaderMaker& maker = velkantrix::readerMaker();
    if (!maker) return __real_MFCreateSourceReaderFromURL(url, attributes, reader);
    *reader = maker({.url = url, .hasAttributes = attributes != nullptr}).detach();
    return *reader ? S_OK : E_FAIL;
}
