#include "playback/byte_stream_handler.h"

#include <windows.h>

#include <mfapi.h>
#include <mferror.h>
#include <mfidl.h>
#include <mfreadwrite.h>

#include <atomic>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/byte_stream_handler_interface.h"
#include "platform/com.h"
#include "platform/mf_util.h"
#include "platform/source_choice.h"
#include "playback/mp4_media_source.h"
#include "tests/windows/test_files.h"

namespace velkantrix {

// What a resolver waits with. Not in an unnamed namespace: there a compiler may take its calls for
// ones that nobody makes.
class CreationWaiter final : public ComObject<IMFAsyncCallback> {
public:
    STDMETHODIMP GetParameters(DWORD*, DWORD*) override { return E_NOTIMPL; }
    STDMETHODIMP Invoke(IMFAsyncResult* with) override {
        result = ComPtr<IMFAsyncResult>::share(with);
        come = true;
        return S_OK;
    }
    ComPtr<IMFAsyncResult> result; // once it has come
    std::atomic<bool> come{false};
};

namespace {

constexpr DWORD READ_SOURCE = MF_RESOLUTION_MEDIASOURCE | MF_RESOLUTION_READ;
constexpr ULONGLONG LONGEST_WAIT = 20'000; // milliseconds

bool waitFor(const std::function<bool()>& condition) {
    const ULONGLONG begun = GetTickCount64();
    while (!condition()) {
        if (GetTickCount64() - begun > LONGEST_WAIT) return false;
        Sleep(1);
    }
    return true;
}

// For its own lifetime.
class Variable {
public:
    Variable(const wchar_t* name, const wchar_t* value) : name_(name) {
        SetEnvironmentVariableW(name, value);
    }
    ~Variable() { SetEnvironmentVariableW(name_, nullptr); }
    Variable(const Variable&) = delete;
    Variable& operator=(const Variable&) = delete;

private:
    const wchar_t* name_;
};

class ByteStreamHandlerTest : public FolderTest {
protected:
    ByteStreamHandlerTest() {
        EXPECT_EQ(createMp4ByteStreamHandler(activation), S_OK);
        EXPECT_EQ(
            activation->ActivateObject(__uuidof(ByteStreamHandlerInterface), handler.putVoid()),
            S_OK);
    }
    ~ByteStreamHandlerTest() override {
        if (waiter) waiter->result.reset(); // which holds the waiter
        waiter.reset();
        EXPECT_TRUE(waitFor([] { return liveMp4MediaSources() == 0; }));
    }

    // A stream without content that says where it comes from, if it does.
    static ComPtr<IMFByteStream> streamOf(const std::wstring& origin) {
        ComPtr<IMFByteStream> stream;
        EXPECT_EQ(MFCreateTempFile(MF_ACCESSMODE_READWRITE, MF_OPENMODE_DELETE_IF_EXIST,
                                   MF_FILEFLAGS_NONE, stream.put()),
                  S_OK);
        ComPtr<IMFAttributes> attributes;
        EXPECT_EQ(stream->QueryInterface(__uuidof(IMFAttributes), attributes.putVoid()), S_OK);
        if (origin.empty()) {
            EXPECT_EQ(attributes->DeleteItem(MF_BYTESTREAM_ORIGIN_NAME), S_OK);
        } else {
            EXPECT_EQ(attributes->SetString(MF_BYTESTREAM_ORIGIN_NAME, origin.c_str()), S_OK);
        }
        return stream;
    }

    HRESULT begin(const std::wstring& origin, const wchar_t* url = nullptr,
                  DWORD flags = READ_SOURCE, IUnknown** cookie = nullptr) {
        waiter = ComPtr<CreationWaiter>::adopt(new CreationWaiter);
        return handler->BeginCreateObject(streamOf(origin).get(), url, flags, nullptr, cookie,
                                          waiter.get(), nullptr);
    }

    // Waits for the outcome and takes it.
    HRESULT end() {
        if (!waitFor([&] { return waiter->come.load(); })) return E_PENDING;
        MF_OBJECT_TYPE type = MF_OBJECT_BYTESTREAM;
        ComPtr<IUnknown> object;
        const HRESULT ended = handler->EndCreateObject(waiter->result.get(), &type, object.put());
        EXPECT_EQ(waiter->result->GetStatus(), status);
        EXPECT_EQ(type, SUCCEEDED(ended) ? MF_OBJECT_MEDIASOURCE : MF_OBJECT_INVALID);
        EXPECT_EQ(static_cast<bool>(object), SUCCEEDED(ended));
        waiter->result.reset();
        ComPtr<IMFMediaSource> source;
        if (object) {
            EXPECT_EQ(object->QueryInterface(__uuidof(IMFMediaSource), source.putVoid()), S_OK);
            EXPECT_EQ(source->Shutdown(), S_OK);
        }
        return ended;
    }
    HRESULT open(const std::wstring& origin, const wchar_t* url = nullptr) {
        const HRESULT begun = begin(origin, url);
        return FAILED(begun) ? begun : end();
    }

    ComPtr<IMFActivate> activation;
    ComPtr<ByteStreamHandlerInterface> handler;
    ComPtr<CreationWaiter> waiter;
    HRESULT status = S_OK; // that the result is to carry
};

TEST_F(ByteStreamHandlerTest, ItGivesASourceForARecording) {
    EXPECT_EQ(open(mediaFile(L"fragmented")), S_OK);
}

TEST_F(ByteStreamHandlerTest, WhatTheSourceDeclinesIsDeclined) {
    status = MF_E_UNSUPPORTED_BYTESTREAM_TYPE;
    for (const wchar_t* name : {L"closed", L"mp4/fragmented-hevc", L"mp4/fragmented-opus", L"gone"})
        EXPECT_EQ(open(mediaFile(name)), MF_E_UNSUPPORTED_BYTESTREAM_TYPE);
}

TEST_F(ByteStreamHandlerTest, AStreamWithoutANameGoesByTheUrl) {
    EXPECT_EQ(open(L"", mediaFile(L"fragmented").c_str()), S_OK);
    std::wstring url = L"file:///" + mediaFile(L"fragmented");
    for (wchar_t& letter : url)
        if (letter == L'\\') letter = L'/';
    EXPECT_EQ(open(L"", url.c_str()), S_OK);
    EXPECT_EQ(open(url), S_OK);
    EXPECT_EQ(begin(L""), MF_E_UNSUPPORTED_BYTESTREAM_TYPE);
    EXPECT_EQ(begin(L"http://localhost/a.mp4"), MF_E_UNSUPPORTED_BYTESTREAM_TYPE);
}

TEST_F(ByteStreamHandlerTest, WhoWantsNoSourceGetsNothing) {
    EXPECT_EQ(begin(mediaFile(L"fragmented"), nullptr, MF_RESOLUTION_BYTESTREAM), E_INVALIDARG);
    const auto someone = ComPtr<CreationWaiter>::adopt(new CreationWaiter);
    EXPECT_EQ(handler->BeginCreateObject(nullptr, nullptr, READ_SOURCE, nullptr, nullptr,
                                         someone.get(), nullptr),
              E_INVALIDARG);
    EXPECT_EQ(handler->BeginCreateObject(streamOf(mediaFile(L"fragmented")).get(), nullptr,
                                         READ_SOURCE, nullptr, nullptr, nullptr, nullptr),
              E_INVALIDARG);
}

TEST_F(ByteStreamHandlerTest, ACancelledCreationGivesNothingAndLeavesNothing) {
    ComPtr<IUnknown> cookie;
    ASSERT_EQ(begin(mediaFile(L"fragmented"), nullptr, READ_SOURCE, cookie.put()), S_OK);
    ASSERT_TRUE(cookie);
    ASSERT_TRUE(waitFor([&] { return waiter->come.load(); }));
    EXPECT_EQ(handler->CancelObjectCreation(cookie.get()), S_OK);
    EXPECT_EQ(end(), E_ABORT); // though it had been made
    EXPECT_EQ(handler->CancelObjectCreation(nullptr), E_POINTER);
}

TEST_F(ByteStreamHandlerTest, ASourceThatNobodyTakesIsShutDown) {
    ASSERT_EQ(begin(mediaFile(L"fragmented")), S_OK);
    ASSERT_TRUE(waitFor([&] { return waiter->come.load(); }));
    EXPECT_EQ(liveMp4MediaSources(), 1);
}

TEST_F(ByteStreamHandlerTest, ManyAreMadeAtOnceAndEachKnowsItsOwn) {
    std::vector<ComPtr<CreationWaiter>> waiters;
    for (int i = 0; i < 20; ++i) {
        ASSERT_EQ(begin(mediaFile(i % 2 == 0 ? L"fragmented" : L"closed")), S_OK);
        waiters.push_back(waiter);
    }
    for (std::size_t i = 0; i < waiters.size(); ++i) {
        waiter = std::move(waiters[i]);
        status = i % 2 == 0 ? S_OK : MF_E_UNSUPPORTED_BYTESTREAM_TYPE;
        EXPECT_EQ(end(), status) << i;
    }
}

TEST_F(ByteStreamHandlerTest, ItReadsNothingOfTheStream) {
    QWORD bytes = 77;
    EXPECT_EQ(handler->GetMaxNumberOfBytesRequiredForResolution(&bytes), S_OK);
    EXPECT_EQ(bytes, QWORD{0});
    EXPECT_EQ(handler->GetMaxNumberOfBytesRequiredForResolution(nullptr), E_POINTER);
}

TEST_F(ByteStreamHandlerTest, ItHasAttributes) {
    ComPtr<IMFAttributes> attributes;
    ASSERT_EQ(handler->QueryInterface(__uuidof(IMFAttributes), attributes.putVoid()), S_OK);
    EXPECT_EQ(attributes->SetUINT32(MF_MT_SAMPLE_SIZE, 5), S_OK);
    UINT32 number = 0;
    EXPECT_EQ(activation->GetUINT32(MF_MT_SAMPLE_SIZE, &number), S_OK);
    EXPECT_EQ(number, 5U);
    UINT32 count = 0;
    EXPECT_EQ(attributes->GetCount(&count), S_OK);
    EXPECT_EQ(count, 1U);
    EXPECT_EQ(attributes->DeleteAllItems(), S_OK);
    EXPECT_EQ(attributes->GetUINT32(MF_MT_SAMPLE_SIZE, &number), MF_E_ATTRIBUTENOTFOUND);
}

TEST_F(ByteStreamHandlerTest, ItIsMadeWithOneReferenceAndAnswersNothingElse) {
    handler.reset();
    EXPECT_EQ(activation->AddRef(), 2U);
    EXPECT_EQ(activation->Release(), 1U);
    ComPtr<IMFMediaSource> none;
    EXPECT_EQ(activation->QueryInterface(__uuidof(IMFMediaSource), none.putVoid()), E_NOINTERFACE);
    EXPECT_EQ(activation->DetachObject(), S_OK);
    EXPECT_EQ(activation->ShutdownObject(), S_OK);
}

DWORD streamsOf(IMFSourceReader* reader) {
    DWORD count = 0;
    BOOL selected = FALSE;
    while (SUCCEEDED(reader->GetStreamSelection(count, &selected))) ++count;
    return count;
}

// In one test, for the registration is the process's.
TEST_F(ByteStreamHandlerTest, RegisteredItServesWhateverOpensARecordingHere) {
    ComPtr<IMFSourceReader> reader;
    {
        const Variable off(L"VELKANTRIX_MP4SRC", L"0 or anything behind it");
        EXPECT_EQ(registerMp4Source(), S_OK);
        ASSERT_EQ(openSourceReader(mediaFile(L"fragmented").c_str(), reader), S_OK);
        EXPECT_EQ(liveMp4MediaSources(), 0);
        EXPECT_EQ(mp4SourceFor(L"C:\\a.mp4"), std::nullopt) << "nor by previews";
    }
    const Variable on(L"VELKANTRIX_MP4SRC", L"1");
    EXPECT_EQ(registerMp4Source(), S_OK);
    EXPECT_EQ(registerMp4Source(), S_OK); // once, whoever asks
    for (const wchar_t* const own : {L"C:\\a.mp4", L"a.b.MP4", L"\\\\?\\C:\\f.d\\a.mP4"})
        EXPECT_EQ(mp4SourceFor(own), SourceSound::Wanted) << own;
    for (const wchar_t* const other :
         {L"C:\\a.m4v", L"C:\\a.mp4.mov", L"C:\\b.mp4\\a", L"mp4", L""})
        EXPECT_EQ(mp4SourceFor(other), std::nullopt) << other;
    ASSERT_EQ(openSourceReader(mediaFile(L"fragmented").c_str(), reader), S_OK);
    EXPECT_EQ(liveMp4MediaSources(), 1);
    EXPECT_EQ(streamsOf(reader.get()), 2U);
    reader.reset();
    EXPECT_TRUE(waitFor([] { return liveMp4MediaSources() == 0; }));
    // What it declines the system opens.
    ASSERT_EQ(openSourceReader(mediaFile(L"closed").c_str(), reader), S_OK);
    EXPECT_EQ(liveMp4MediaSources(), 0);
    EXPECT_EQ(streamsOf(reader.get()), 2U);
    reader.reset();
    // Without its sound only for those who don't mind.
    const Variable silent(L"MP4SRC_NOAUDIO", L"1");
    EXPECT_EQ(mp4SourceFor(L"a.mp4"), SourceSound::Unwanted);
    ASSERT_EQ(openSourceReader(mediaFile(L"fragmented").c_str(), reader), S_OK);
    EXPECT_EQ(liveMp4MediaSources(), 1);
    EXPECT_EQ(streamsOf(reader.get()), 1U);
    reader.reset();
    EXPECT_TRUE(waitFor([] { return liveMp4MediaSources() == 0; }));
    const AllStreamsWanted choice;
    EXPECT_EQ(mp4SourceFor(L"a.mp4"), std::nullopt);
    ASSERT_EQ(openSourceReader(mediaFile(L"fragmented").c_str(), reader), S_OK);
    EXPECT_EQ(liveMp4MediaSources(), 0);
    EXPECT_EQ(streamsOf(reader.get()), 2U);
}

} // namespace
} // namespace velkantrix
