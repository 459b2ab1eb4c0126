#include "app/fonts.h"

#include <array>
#include <cwchar>
#include <string>

#include "app/ui_state.h"
#include "platform/gdi.h"

namespace velkantrix {
namespace {

constexpr int POINTS_PER_INCH = 72;

std::array<UniqueFont, 5> theFonts;

HFONT createFont(int height, int weight, const wchar_t* face) {
    return CreateFontW(height, 0, 0, 0, weight, FALSE, FALSE, FALSE, DEFAULT_CHARSET,
                       OUT_DEFAULT_PRECIS, CLIP_DEFAULT_PRECIS, CLEARTYPE_QUALITY,
                       DEFAULT_PITCH | FF_DONTCARE, face);
}

const wchar_t* textFace() {
    static const std::wstring face = chooseFace(L"Segoe UI Variable Text", L"Segoe UI");
    return face.c_str();
}

const wchar_t* displayFace() {
    static const std::wstring face = chooseFace(L"Segoe UI Variable Display", L"Segoe UI");
    return face.c_str();
}

const wchar_t* iconFace() {
    static const std::wstring face = chooseFace(L"Segoe Fluent Icons", L"Segoe MDL2 Assets");
    return face.c_str();
}

void setFont(Font which, int points, int weight, const wchar_t* face) {
    const int height = -MulDiv(points, ui().dpi, POINTS_PER_INCH);
    theFonts[static_cast<std::size_t>(which)].reset(createFont(height, weight, face));
}

void createFonts() {
    setFont(Font::Heading, 15, FW_BOLD, displayFace());
    setFont(Font::Monospace, 9, FW_NORMAL, L"Consolas");
    setFont(Font::Text, 11, FW_NORMAL, textFace());
    setFont(Font::Hero, 28, FW_BOLD, displayFace());
    setFont(Font::Icons, 16, FW_NORMAL, iconFace());
}

} // namespace

// The system gives another face for one that it hasn't: so it is asked what it gave.
std::wstring chooseFace(const wchar_t* preferred, const wchar_t* fallback) {
    const ScreenDc screen;
    const UniqueFont probe(createFont(-12, FW_NORMAL, preferred));
    if (!screen.get() || !probe) return fallback;
    const Selected selected(screen.get(), probe.get());
    std::array<wchar_t, LF_FACESIZE> given{};
    GetTextFaceW(screen.get(), static_cast<int>(given.size()), given.data());
    return _wcsicmp(given.data(), preferred) == 0 ? preferred : fallback;
}

HFONT font(Font which) {
    if (!theFonts.front()) createFonts();
    return theFonts[static_cast<std::size_t>(which)].get();
}

void deleteFonts() {
    for (UniqueFont& one : theFonts) one.reset();
}

} // namespace velkantrix
