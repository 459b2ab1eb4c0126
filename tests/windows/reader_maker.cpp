#include "tests/windows/reader_maker.h"

#include <mfapi.h>

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
    velkantrix::ReaderRequest request{.url = url};
    if (attributes && (FAILED(MFCreateAttributes(request.attributes.put(), 0)) ||
                       FAILED(attributes->CopyAllItems(request.attributes.get()))))
        return E_OUTOFMEMORY;
    *reader = maker(request).detach();
    return *reader ? S_OK : E_FAIL;
}
