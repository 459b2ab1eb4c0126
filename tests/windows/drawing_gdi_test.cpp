// What each kind of item leaves on a bitmap.
#include "app/drawing_gdi.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "app/fonts.h"
#include "app/resource_ids.h"
#include "app/ui_state.h"
#include "tests/windows/canvas.h"

namespace velkantrix {
namespace {

using testing::Each;

constexpr COLORREF UNTOUCHED = RGB(1, 200, 3);
constexpr COLORREF INK = RGB(250, 60, 240);

class GdiDrawing : public testing::Test {
protected:
    GdiDrawing() { ui() = {}; }
    ~GdiDrawing() override { deleteFonts(); }

    void draw(const DrawItem& item) const { carryOut(canvas.dc(), {item}); }

    void drawAnew(const DrawItem& item) const {
        canvas.fill(UNTOUCHED);
        draw(item);
    }

    [[nodiscard]] COLORREF at(int x, int y) const { return canvas.at(x, y); }

    void expectTouched(const RECT& expected) const {
        const RECT bounds = canvas.boundsOfOther(UNTOUCHED);
        EXPECT_TRUE(EqualRect(&bounds, &expected))
            << bounds.left << ' ' << bounds.top << ' ' << bounds.right << ' ' << bounds.bottom;
    }

    void expectTouchedWithin(const RECT& rect) const {
        const RECT bounds = canvas.boundsOfOther(UNTOUCHED);
        ASSERT_LT(bounds.left, bounds.right);
        EXPECT_GE(bounds.left, rect.left);
        EXPECT_GE(bounds.top, rect.top);
        EXPECT_LE(bounds.right, rect.right);
        EXPECT_LE(bounds.bottom, rect.bottom);
    }

    [[nodiscard]] auto inked(const RECT& rect) const {
        return std::ranges::count(canvas.in(rect), INK);
    }

    static constexpr RECT ALL = {0, 0, 200, 100};
    Canvas canvas{200, 100, UNTOUCHED};
};

TEST_F(GdiDrawing, AFillHasItsLeftAndTopEdgesAndNotTheOthers) {
    draw(FillItem{{20, 10, 60, 40}, INK});
    expectTouched({20, 10, 60, 40});
    EXPECT_EQ(inked({20, 10, 60, 40}), 40 * 30);
}

TEST_F(GdiDrawing, LaterItemsLieOverEarlierOnes) {
    carryOut(canvas.dc(),
             {FillItem{{20, 10, 60, 40}, RGB(9, 9, 9)}, FillItem{{30, 10, 60, 40}, INK}});
    EXPECT_EQ(at(29, 20), RGB(9, 9, 9));
    EXPECT_EQ(at(30, 20), INK);
}

TEST_F(GdiDrawing, AThinOutlineLiesWithinItsRectangle) {
    draw(OutlineItem{{20, 10, 60, 40}, INK, 1});
    expectTouched({20, 10, 60, 40});
    EXPECT_THAT(canvas.in({21, 11, 59, 39}), Each(UNTOUCHED));
    EXPECT_EQ(inked(ALL), 40 * 30 - 38 * 28);
}

TEST_F(GdiDrawing, AThickOutlineHasTwoPixelsOnEachSide) {
    draw(OutlineItem{{20, 10, 60, 40}, INK, 2});
    EXPECT_THAT(canvas.in({22, 12, 58, 38}), Each(UNTOUCHED));
    expectTouchedWithin({19, 9, 61, 41});
    EXPECT_EQ(inked({0, 25, 40, 26}), 2);
    EXPECT_EQ(inked({40, 25, 200, 26}), 2);
    EXPECT_EQ(inked({40, 0, 41, 25}), 2);
    EXPECT_EQ(inked({40, 25, 41, 100}), 2);
    EXPECT_EQ(at(20, 25), INK);
    EXPECT_EQ(at(40, 10), INK);
}

TEST_F(GdiDrawing, ATriangleIsFilledWithoutAnOutline) {
    draw(TriangleItem{{PixelPoint{20, 10}, {60, 10}, {20, 90}}, INK});
    expectTouchedWithin({20, 10, 60, 90});
    EXPECT_EQ(at(21, 11), INK);
    EXPECT_EQ(at(32, 36), INK);
    EXPECT_EQ(at(50, 70), UNTOUCHED);
    for (const COLORREF colour : canvas.all()) EXPECT_TRUE(colour == INK || colour == UNTOUCHED);
    EXPECT_NEAR(static_cast<double>(inked(ALL)), 40 * 80 / 2, 100);
}

TEST_F(GdiDrawing, ATriangleMayTurnTheOtherWay) {
    draw(TriangleItem{{PixelPoint{180, 10}, {140, 10}, {180, 90}}, INK});
    expectTouchedWithin({140, 10, 181, 90});
    EXPECT_EQ(at(168, 36), INK);
    EXPECT_EQ(at(150, 70), UNTOUCHED);
}

TEST_F(GdiDrawing, ARoundedRectangleIsFilledButForItsCorners) {
    draw(RoundedItem{{20, 10, 80, 50}, INK, 14});
    expectTouched({20, 10, 80, 50});
    for (const POINT corner : {POINT{20, 10}, {79, 10}, {20, 49}, {79, 49}})
        EXPECT_EQ(at(corner.x, corner.y), UNTOUCHED);
    EXPECT_EQ(at(21, 11), UNTOUCHED); // the corner's circle has a radius of 7
    EXPECT_EQ(at(23, 13), INK);
    for (const POINT inside : {POINT{27, 10}, {20, 17}, {79, 42}, {72, 49}, {50, 30}})
        EXPECT_EQ(at(inside.x, inside.y), INK) << inside.x << ' ' << inside.y;
    for (const COLORREF colour : canvas.all()) EXPECT_TRUE(colour == INK || colour == UNTOUCHED);
}

TEST_F(GdiDrawing, AnEllipseIsFilledWithoutAnOutline) {
    draw(EllipseItem{{20, 10, 33, 23}, INK});
    expectTouched({20, 10, 33, 23});
    EXPECT_EQ(at(26, 16), INK);
    EXPECT_EQ(at(20, 16), INK);
    EXPECT_EQ(at(26, 22), INK);
    EXPECT_EQ(at(20, 10), UNTOUCHED);
    EXPECT_EQ(at(32, 22), UNTOUCHED);
    EXPECT_NEAR(static_cast<double>(inked(ALL)), 3.1416 * 6.5 * 6.5, 12);
    for (const COLORREF colour : canvas.all()) EXPECT_TRUE(colour == INK || colour == UNTOUCHED);
}

TEST_F(GdiDrawing, ALineEndsBeforeItsLastPoint) {
    draw(LineItem{{30, 20}, {30, 50}, INK, 1});
    expectTouched({30, 20, 31, 50});
    EXPECT_EQ(inked(ALL), 30);
}

TEST_F(GdiDrawing, ALineHasItsWidth) {
    draw(LineItem{{30, 20}, {30, 80}, INK, 2});
    EXPECT_EQ(inked({0, 50, 200, 51}), 2);
    EXPECT_EQ(at(30, 50), INK);
    drawAnew(LineItem{{30, 20}, {30, 80}, INK, 4});
    EXPECT_EQ(inked({0, 50, 200, 51}), 4);
}

// What lies between the dots stays what it was.
TEST_F(GdiDrawing, ADottedLineIsThinAndHasGaps) {
    for (const std::int32_t width : {1, 3}) {
        drawAnew(LineItem{{30, 20}, {30, 80}, INK, width, true});
        expectTouchedWithin({30, 20, 31, 80});
        const Pixels line = canvas.in({30, 20, 31, 80});
        EXPECT_GE(inked(ALL), 15);
        EXPECT_GE(std::ranges::count(line, UNTOUCHED), 15);
        EXPECT_EQ(inked(ALL) + std::ranges::count(line, UNTOUCHED), 60);
    }
}

constexpr PixelRect PLACE = {20, 10, 180, 60};

TextItem text(const std::wstring& words, TextAlign align = TextAlign::Left,
              Font which = Font::Text) {
    return {words, PLACE, INK, which, align};
}

TEST_F(GdiDrawing, ATextStandsWhereItIsAligned) {
    draw(text(L"HIHI"));
    const RECT left = canvas.boundsOfOther(UNTOUCHED);
    EXPECT_GE(left.left, 20);
    EXPECT_LE(left.left, 23);
    EXPECT_LT(left.right, 100);
    drawAnew(text(L"HIHI", TextAlign::Centre));
    const RECT centre = canvas.boundsOfOther(UNTOUCHED);
    EXPECT_NEAR((centre.left + centre.right) / 2.0, 100, 3);
    drawAnew(text(L"HIHI", TextAlign::Right));
    const RECT right = canvas.boundsOfOther(UNTOUCHED);
    EXPECT_GT(right.left, 100);
    EXPECT_GE(right.right, 177);
    EXPECT_LE(right.right, 180);
    for (const RECT& bounds : {left, centre, right}) {
        EXPECT_NEAR((bounds.top + bounds.bottom) / 2.0, 35, 4);
        EXPECT_NEAR(bounds.right - bounds.left, left.right - left.left, 1);
    }
}

// Its edges are soft, and nothing lies behind it.
TEST_F(GdiDrawing, ATextHasItsColourOverWhatIsThere) {
    draw(text(L"HIHI", TextAlign::Centre, Font::Hero));
    EXPECT_GT(inked(ALL), 20);
    const RECT bounds = canvas.boundsOfOther(UNTOUCHED);
    EXPECT_GT(std::ranges::count(canvas.in(bounds), UNTOUCHED), 100);
}

TEST_F(GdiDrawing, ATextHasItsFont) {
    std::vector<Pixels> pictures;
    for (const Font which : {Font::Heading, Font::Monospace, Font::Text, Font::Hero}) {
        drawAnew(text(L"HIHI", TextAlign::Left, which));
        for (const Pixels& other : pictures) EXPECT_NE(canvas.all(), other);
        pictures.push_back(canvas.all());
    }
}

TEST_F(GdiDrawing, ALongTextStaysInItsPlace) {
    const std::wstring words(60, L'W');
    for (const TextAlign align : {TextAlign::Left, TextAlign::Centre, TextAlign::Right}) {
        TextItem item = text(words, align);
        drawAnew(item);
        expectTouchedWithin({20, 10, 180, 60});
        const Pixels cut = canvas.all();
        item.ellipsis = true;
        drawAnew(item);
        expectTouchedWithin({20, 10, 180, 60});
        EXPECT_NE(canvas.all(), cut);
    }
}

TEST_F(GdiDrawing, OnlyATextThatDoesNotFitHasAnEllipsis) {
    TextItem item = text(L"HIHI");
    draw(item);
    const Pixels plain = canvas.all();
    item.ellipsis = true;
    drawAnew(item);
    EXPECT_EQ(canvas.all(), plain);
}

TEST_F(GdiDrawing, AnAmpersandIsACharacterLikeOthers) {
    draw(text(L"&"));
    const RECT one = canvas.boundsOfOther(UNTOUCHED);
    ASSERT_LT(one.left, one.right);
    drawAnew(text(L"&&"));
    EXPECT_GT(canvas.boundsOfOther(UNTOUCHED).right, one.right + 3);
    drawAnew(text(L"HI"));
    const RECT without = canvas.boundsOfOther(UNTOUCHED);
    drawAnew(text(L"H&I"));
    const RECT with = canvas.boundsOfOther(UNTOUCHED);
    EXPECT_GT(with.right, without.right + 3);
    EXPECT_LE(with.bottom, without.bottom + 1); // and underlines none
}

// What isn't repainted costs nothing: such a text isn't even prepared.
TEST_F(GdiDrawing, ATextOutsideOfWhatIsRepaintedIsLeftOut) {
    const TextItem across{L"HIHIHIHIHI", {80, 40, 190, 70}, INK, Font::Text};
    drawAnew(across);
    const Pixels whole = canvas.in({0, 0, 100, 100});
    canvas.fill(UNTOUCHED);
    IntersectClipRect(canvas.dc(), 0, 0, 100, 100);
    SetTextColor(canvas.dc(), RGB(9, 8, 7));
    draw(TextItem{L"HIHI", {100, 10, 190, 40}, INK, Font::Text});
    EXPECT_EQ(GetTextColor(canvas.dc()), RGB(9, 8, 7));
    EXPECT_THAT(canvas.all(), Each(UNTOUCHED));
    draw(across); // of which a part is seen
    EXPECT_EQ(canvas.in({0, 0, 100, 100}), whole);
    EXPECT_THAT(canvas.in({100, 0, 200, 100}), Each(UNTOUCHED));
    drawAnew(TextItem{L"HIHI", {20, 10, 90, 40}, INK, Font::Text});
    expectTouchedWithin({20, 10, 90, 40});
}

// Each channel by itself, as far as rounding goes.
bool isBlend(COLORREF found, COLORREF below, COLORREF above, int opacity) {
    for (const int shift : {0, 8, 16}) {
        const auto channel = [shift](COLORREF colour) {
            return static_cast<int>(colour >> shift & 0xFF);
        };
        const int expected = channel(below) + (channel(above) - channel(below)) * opacity / 255;
        if (std::abs(channel(found) - expected) > 2) return false;
    }
    return true;
}

void expectBlend(const Pixels& found, const Pixels& below, const Pixels& above, int opacity) {
    ASSERT_EQ(found.size(), above.size());
    std::size_t wrong = 0;
    for (std::size_t i = 0; i < found.size(); ++i) {
        if (!isBlend(found[i], below[i], above[i], opacity)) ++wrong;
    }
    EXPECT_EQ(wrong, 0u);
}

// As the system draws it: each size from the picture that the icon has of it.
TEST_F(GdiDrawing, AnIconStandsOnItsBottomInTheMiddleOfItsWidth) {
    for (const int size : {48, 20, 48}) {
        const int left = 80 - size / 2;
        const int top = 90 - size;
        const Canvas expected(200, 100, UNTOUCHED);
        const auto icon =
            static_cast<HICON>(LoadImageW(GetModuleHandleW(nullptr), MAKEINTRESOURCEW(ICON_ID),
                                          IMAGE_ICON, size, size, LR_DEFAULTCOLOR));
        DrawIconEx(expected.dc(), left, top, icon, size, size, 0, nullptr, DI_NORMAL);
        DestroyIcon(icon);
        EXPECT_NE(expected.at(80, 80), UNTOUCHED);
        drawAnew(IconItem{160, 90, size, 255});
        const RECT place = {left, top, left + size, top + size};
        expectTouchedWithin(place);
        EXPECT_EQ(at(left, top), UNTOUCHED); // it has round corners
        expectBlend(canvas.all(), expected.all(), expected.all(), 255);
    }
}

TEST_F(GdiDrawing, AnIconLetsThroughWhatLiesBehindIt) {
    draw(IconItem{160, 90, 48, 255});
    const Pixels opaque = canvas.all();
    drawAnew(IconItem{160, 90, 48, 205});
    const Pixels blended = canvas.all();
    ASSERT_NE(blended, opaque);
    expectBlend(blended, Pixels(blended.size(), UNTOUCHED), opaque, 205);
    drawAnew(IconItem{160, 90, 48, 0});
    EXPECT_THAT(canvas.all(), Each(UNTOUCHED));
}

} // namespace
} // namespace velkantrix
