// Every call of the system's that a re-encode makes, failing: the failure is the result.
#include <mfapi.h>
#include <mferror.h>

#include <gtest/gtest.h>

#include "export/encode_samples.h"
#include "export/picture_buffer.h"
#include "tests/windows/encode_shell.h"
#include "tests/windows/media_calls.h"
#include "tests/windows/reader_maker.h"
#include "tests/windows/replaced_call.h"

namespace velkantrix {

// A buffer that knows of lines, of which a call fails.
class LinesBuffer final : public ComObject<IMFMediaBuffer, IMF2DBuffer> {
public:
    explicit LinesBuffer(Content content) : content_(std::move(content)) {}

    HRESULT lengthResult = S_OK;
    HRESULT copyResult = S_OK;

    STDMETHODIMP Lock(BYTE** bytes, DWORD* most, DWORD* length) override {
        *bytes = content_.data();
        if (most) *most = size();
        if (length) *length = size();
        return S_OK;
    }
    STDMETHODIMP Unlock() override { return S_OK; }
    STDMETHODIMP GetCurrentLength(DWORD* length) override {
        *length = size();
        return S_OK;
    }
    STDMETHODIMP SetCurrentLength(DWORD) override { return S_OK; }
    STDMETHODIMP GetMaxLength(DWORD* length) override { return GetCurrentLength(length); }

    STDMETHODIMP GetContiguousLength(DWORD* length) override {
        *length = size();
        return lengthResult;
    }
    STDMETHODIMP ContiguousCopyTo(BYTE* to, DWORD length) override {
        if (FAILED(copyResult)) return copyResult;
        if (length < size()) return E_INVALIDARG;
        std::copy(content_.begin(), content_.end(), to);
        return S_OK;
    }
    STDMETHODIMP Lock2D(BYTE**, LONG*) override { return E_NOTIMPL; }
    STDMETHODIMP Unlock2D() override { return E_NOTIMPL; }
    STDMETHODIMP GetScanline0AndPitch(BYTE**, LONG*) override { return E_NOTIMPL; }
    STDMETHODIMP IsContiguousFormat(BOOL*) override { return E_NOTIMPL; }
    STDMETHODIMP ContiguousCopyFrom(const BYTE*, DWORD) override { return E_NOTIMPL; }

private:
    [[nodiscard]] DWORD size() const { return static_cast<DWORD>(content_.size()); }

    Content content_;
};

namespace {

constexpr HRESULT BROKEN = MF_E_INVALID_FILE_FORMAT; // no result that the export makes itself

// The places of functions in the tables of their interfaces.
constexpr std::size_t COPY_ALL_ITEMS = 32, SET_SAMPLE_TIME = 36, SET_SAMPLE_DURATION = 38;
constexpr std::size_t TO_ONE_BUFFER = 41, ADD_BUFFER = 42, TOTAL_LENGTH = 45;
constexpr std::size_t LOCK = 3, SET_LENGTH = 6;
constexpr std::size_t RESET_DEVICE = 7;

// Answers one function of a class; the n-th call fails.
template <class... Arguments>
class FailingCall {
public:
    using Function = HRESULT WINAPI(void*, Arguments...);

    template <class Interface>
    FailingCall(Interface* object, std::size_t place, int nth)
        : replaced_(object, place, static_cast<Function*>(&answer)) {
        original = replaced_.template original<Function>();
        left = nth;
    }

    [[nodiscard]] static bool reached() { return left <= 0; }

private:
    static HRESULT WINAPI answer(void* self, Arguments... arguments) {
        return --left == 0 ? BROKEN : original(self, arguments...);
    }
    static inline Function* original = nullptr;
    static inline int left = 0;

    ReplacedCall replaced_;
};

class EncodeFailuresTest : public EncodeShell {
protected:
    EncodeFailuresTest() { makeAnew(); }
    ~EncodeFailuresTest() override {
        mediaCalls() = {};
        readerMaker() = nullptr;
    }

    // Changed pictures, a part of a sound, and silence.
    void makeAnew() {
        reset();
        audio().resize(14);
        request.spans = {{.start = 1, .end = 1.25, .fadeIn = 0.2}, {.start = 1.3, .end = 2}};
        request.exposure = 0.5;
    }

    // Until as many calls are let through as there are; each failure is the result.
    template <class Fail>
    void expectFailures(const Fail& fail, int atLeast) {
        for (int nth = 1;; nth++) {
            ASSERT_LT(nth, 1000);
            makeAnew();
            const auto failed = fail(nth);
            if (!failed) {
                EXPECT_GT(nth, atLeast);
                return;
            }
            EXPECT_EQ(*failed, BROKEN) << nth;
        }
    }

    template <class... Arguments, class Interface>
    void expectFailuresOf(Interface* object, std::size_t place, int atLeast) {
        expectFailures(
            [&](int nth) -> std::optional<HRESULT> {
                const FailingCall<Arguments...> failing(object, place, nth);
                const HRESULT hr = encode();
                return failing.reached() ? std::optional(hr) : std::nullopt;
            },
            atLeast);
    }
};

TEST_F(EncodeFailuresTest, WithoutMemoryForTypesSamplesOrSilence) {
    const std::pair<MediaFunction, int> calls[] = {{MediaFunction::CreateMediaType, 4},
                                                   {MediaFunction::CreateSample, 10},
                                                   {MediaFunction::CreateMemoryBuffer, 2}};
    for (const auto& [function, atLeast] : calls) {
        expectFailures(
            [&, failing = function](int nth) -> std::optional<HRESULT> {
                mediaCalls().failAt(failing, nth, BROKEN);
                const HRESULT hr = encode();
                const bool reached = mediaCalls().left <= 0;
                mediaCalls() = {};
                return reached ? std::optional(hr) : std::nullopt;
            },
            atLeast);
    }
}

TEST_F(EncodeFailuresTest, OfSamples) {
    ComPtr<IMFSample> sample;
    ASSERT_EQ(MFCreateSample(sample.put()), S_OK);
    expectFailuresOf<IMFAttributes*>(sample.get(), COPY_ALL_ITEMS, 9);
    expectFailuresOf<LONGLONG>(sample.get(), SET_SAMPLE_TIME, 15);
    expectFailuresOf<LONGLONG>(sample.get(), SET_SAMPLE_DURATION, 15);
    expectFailuresOf<IMFMediaBuffer*>(sample.get(), ADD_BUFFER, 15);
    expectFailuresOf<IMFMediaBuffer**>(sample.get(), TO_ONE_BUFFER, 9);
    expectFailuresOf<DWORD*>(sample.get(), TOTAL_LENGTH, 9);
}

TEST_F(EncodeFailuresTest, OfBuffers) {
    const ComPtr<IMFMediaBuffer> buffer = bufferOf({1});
    // Anew before the call fails: tests fill buffers too.
    const auto of = [&]<class... Arguments>(std::size_t place) {
        bool passed = false;
        for (int nth = 1; nth < 200 && !passed; nth++) {
            makeAnew();
            const FailingCall<Arguments...> failing(buffer.get(), place, nth);
            const HRESULT hr = encode();
            passed = !failing.reached();
            EXPECT_EQ(hr, passed ? S_OK : BROKEN) << nth;
        }
        EXPECT_TRUE(passed);
    };
    of.operator()<BYTE**, DWORD*, DWORD*>(LOCK);
    of.operator()<DWORD>(SET_LENGTH);
}

TEST_F(EncodeFailuresTest, OfBuffersThatKnowOfLines) {
    for (const bool copying : {false, true}) {
        makeAnew();
        const auto lines = ComPtr<LinesBuffer>::adopt(new LinesBuffer(picture()));
        (copying ? lines->copyResult : lines->lengthResult) = BROKEN;
        video()[11].content = ComPtr<IMFMediaBuffer>::share(lines.get());
        EXPECT_EQ(encode(), BROKEN);
        EXPECT_EQ(writtenTo(VIDEO_OUT).size(), 1u);
    }
}

TEST_F(EncodeFailuresTest, WithoutMemoryForAPictureThereIsNone) {
    const auto pool = std::make_shared<PicturePool>(
        std::size_t{100}, [](std::size_t) -> std::uint8_t* { return nullptr; });
    ComPtr<IMFSample> sample, copy;
    ASSERT_EQ(MFCreateSample(sample.put()), S_OK);
    ASSERT_EQ(sample->AddBuffer(bufferOf(picture()).get()), S_OK);
    const PictureChange change = {{WIDTH, HEIGHT}, {WIDTH, HEIGHT}, {}};
    EXPECT_EQ(copyPicture(sample.get(), change, pool, copy), E_OUTOFMEMORY);
    EXPECT_FALSE(copy);
}

TEST_F(EncodeFailuresTest, OfTheDeviceManager) {
    request.sourcePath = L"C:\\none\\source.mp4";
    request.outputPath = L"C:\\none\\output.mp4";
    readerMaker() = [](const ReaderRequest&) {
        ADD_FAILURE() << "there is no device to decode on";
        return ComPtr<IMFSourceReader>();
    };
    std::wstring text;
    mediaCalls().failAt(MediaFunction::CreateDeviceManager, 1, BROKEN);
    EXPECT_FALSE(ExportFile(request, &text));
    EXPECT_EQ(text, FormatExportError(BROKEN));
    UINT token = 0;
    ComPtr<IMFDXGIDeviceManager> manager;
    ASSERT_EQ(MFCreateDXGIDeviceManager(&token, manager.put()), S_OK);
    const FailingCall<IUnknown*, UINT> failing(manager.get(), RESET_DEVICE, 1);
    text.clear();
    EXPECT_FALSE(ExportFile(request, &text));
    EXPECT_EQ(text, FormatExportError(BROKEN));
}

// ---- the memory of changed pictures -----------------------------------------------------------

TEST(PictureBuffer, TakesAnyLengthUpToItsOwn) {
    ComPtr<PictureBuffer> buffer;
    ASSERT_EQ(PictureBuffer::make(std::make_shared<PicturePool>(std::size_t{100}), buffer), S_OK);
    DWORD length = 7, most = 7;
    BYTE* bytes = nullptr;
    EXPECT_EQ(buffer->GetCurrentLength(&length), S_OK);
    EXPECT_EQ(length, 0u);
    EXPECT_EQ(buffer->SetCurrentLength(101), E_INVALIDARG);
    EXPECT_EQ(buffer->SetCurrentLength(100), S_OK);
    EXPECT_EQ(buffer->Lock(&bytes, &most, &length), S_OK);
    EXPECT_EQ(most, 100u);
    EXPECT_EQ(length, 100u);
    EXPECT_EQ(buffer->GetMaxLength(&most), S_OK);
    EXPECT_EQ(most, 100u);
    EXPECT_EQ(buffer->Lock(nullptr, nullptr, nullptr), E_POINTER);
    EXPECT_EQ(buffer->GetCurrentLength(nullptr), E_POINTER);
    EXPECT_EQ(buffer->GetMaxLength(nullptr), E_POINTER);
}

TEST(PictureBuffer, GivesItsMemoryBackWhenNobodyHoldsItAndOutlivesTheMaker) {
    auto pool = std::make_shared<PicturePool>(std::size_t{100});
    ComPtr<PictureBuffer> first, second;
    ASSERT_EQ(PictureBuffer::make(pool, first), S_OK);
    BYTE* before = nullptr;
    BYTE* after = nullptr;
    ASSERT_EQ(first->Lock(&before, nullptr, nullptr), S_OK);
    ComPtr<IMFSample> holder;
    ASSERT_EQ(MFCreateSample(holder.put()), S_OK);
    ASSERT_EQ(holder->AddBuffer(first.get()), S_OK);
    first.reset();
    ASSERT_EQ(PictureBuffer::make(pool, second), S_OK);
    ASSERT_EQ(second->Lock(&after, nullptr, nullptr), S_OK);
    EXPECT_NE(after, before); // the sample holds it
    holder.reset();
    ASSERT_EQ(PictureBuffer::make(pool, first), S_OK);
    ASSERT_EQ(first->Lock(&after, nullptr, nullptr), S_OK);
    EXPECT_EQ(after, before);
    pool.reset();
    *after = 1;
}

} // namespace
} // namespace velkantrix
