// What the transport bar paints on the screen, at each scale.
#include "app/transport_bar.h"

#include "app/placing.h"
#include "app/transport_drawing.h"
#include "tests/windows/paint_fixture.h"

namespace velkantrix {
namespace {

class TransportPaint : public WindowPaint {
protected:
    TransportPaint() {
        loadTwoClips();
        refreshUi();
        bar = ui().transport;
    }

    // So many pixels of the window wide, and painted.
    void show(int width) {
        size = {width, S(62)};
        SetWindowPos(bar, nullptr, 0, 0, size.width, size.height, SWP_NOZORDER | SWP_NOACTIVATE);
        UpdateWindow(bar);
    }

    [[nodiscard]] Pixels seen() const {
        const Canvas copy(size.width, size.height, 0);
        const HDC dc = GetDC(bar);
        BitBlt(copy.dc(), 0, 0, size.width, size.height, dc, 0, 0, SRCCOPY);
        ReleaseDC(bar, dc);
        return copy.all();
    }

    [[nodiscard]] Pixels pictureOf(const TransportView& view) const {
        Drawing drawing;
        drawTransport(drawing, view);
        const Canvas canvas(size.width, size.height, 0);
        carryOut(canvas.dc(), drawing);
        return canvas.all();
    }

    HWND bar = nullptr;
    PixelSize size;
};

TEST_F(TransportPaint, IsTheDrawingOfWhatThereIs) {
    ui().volume = {.level = 0.5, .muted = true};
    ui().exposure = 0.3;
    ui().doubled = true;
    for (const int dpi : {96, 120, 144, 192}) {
        changeDpi(static_cast<WORD>(dpi), {0, 0, 1900, 1000});
        show(1300);
        EXPECT_EQ(seen(), pictureOf({.client = size,
                                     .dpi = dpi,
                                     .state = {.volume = {.level = 0.5, .muted = true},
                                               .exposure = 0.3,
                                               .doubled = true,
                                               .clipCount = 2}}))
            << dpi;
    }
}

TEST_F(TransportPaint, ShowsWhatIsHoveredAndPressed) {
    show(1300);
    const TransportState state{.clipCount = 2};
    const PixelRect rect = layOutTransport(1300, 96)[TRANSPORT_FORWARD];
    const LPARAM at = MAKELPARAM(rect.left + 3, rect.top + 3);
    SendMessageW(bar, WM_MOUSEMOVE, 0, at);
    UpdateWindow(bar);
    EXPECT_EQ(seen(), pictureOf({size, 96, state, TRANSPORT_FORWARD}));
    SendMessageW(bar, WM_LBUTTONDOWN, 0, at);
    UpdateWindow(bar);
    EXPECT_EQ(seen(), pictureOf({size, 96, state, TRANSPORT_FORWARD, TRANSPORT_FORWARD}));
    ReleaseCapture();
}

TEST_F(TransportPaint, ABarOfOnePixelIsNoReasonToFail) {
    show(1);
    EXPECT_EQ(seen(), pictureOf({.client = size, .state = {.clipCount = 2}}));
}

} // namespace
} // namespace velkantrix
