// gdi.h: owners of GDI's objects. All of a window's are its thread's.
#pragma once

#include <windows.h>

#include "base/unique_handle.h"

namespace velkantrix {

template <class Handle>
struct GdiTraits {
    using Value = Handle;
    static Value none() { return nullptr; }
    static void close(Value object) { DeleteObject(object); }
};
using UniqueFont = UniqueHandle<GdiTraits<HFONT>>;
using UniqueBrush = UniqueHandle<GdiTraits<HBRUSH>>;
using UniquePen = UniqueHandle<GdiTraits<HPEN>>;
using UniqueBitmap = UniqueHandle<GdiTraits<HBITMAP>>;

struct MemoryDcTraits {
    using Value = HDC;
    static Value none() { return nullptr; }
    static void close(Value dc) { DeleteDC(dc); }
};
using UniqueMemoryDc = UniqueHandle<MemoryDcTraits>;

// Selects an object for its own lifetime, then the one before it again.
class Selected {
public:
    Selected(HDC dc, HGDIOBJ object) : dc_(dc), before_(SelectObject(dc, object)) {}
    ~Selected() {
        if (before_) SelectObject(dc_, before_);
    }
    Selected(const Selected&) = delete;
    Selected& operator=(const Selected&) = delete;

private:
    HDC dc_;
    HGDIOBJ before_;
};

// The whole screen's, for measuring.
class ScreenDc {
public:
    ScreenDc() : dc_(GetDC(nullptr)) {}
    ~ScreenDc() {
        if (dc_) ReleaseDC(nullptr, dc_);
    }
    ScreenDc(const ScreenDc&) = delete;
    ScreenDc& operator=(const ScreenDc&) = delete;
    [[nodiscard]] HDC get() const { return dc_; }

private:
    HDC dc_;
};

} // namespace velkantrix
