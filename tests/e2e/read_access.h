// read_access.h: what a screen reader is told of a window, from another process.
#pragma once

#include <windows.h>

#include <string>

// Of the window's client object and its simple children, child 0 first, as JSON:
//
//     {"children":[{"name":"...","role":22,"state":0,"value":null,"shortcut":null,"action":null,
//                   "rect":[left,top,right,bottom],"hit":3}, ...]}
//
// `hit` is the child that the object finds in the middle of that rectangle.
std::string accessJson(HWND window);

// Does the child's default action; the result of asking for it.
HRESULT pressAccess(HWND window, long child);
