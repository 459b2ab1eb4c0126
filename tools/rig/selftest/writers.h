// writers.h: sink writers and the types of their streams.
#pragma once
#include "media.h"

Com<IMFSinkWriter> createWriter(const std::wstring& path);
void selectOnly(IMFSourceReader* reader, DWORD stream);

struct Encoding {
    UINT32 width, height;
    double fadeIn;
};

Com<IMFMediaType> pcmType();
Com<IMFMediaType> aacType(UINT32 bytesPerSecond);
Com<IMFMediaType> pictureType(REFGUID subtype, const Encoding& to);
Com<IMFMediaType> h264Type(const Encoding& to);
