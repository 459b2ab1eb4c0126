// user_input.h: keys and mouse, as they come from the user's own hands.
#pragma once

#include <windows.h>

#include <string>

// "CTRL+SHIFT+Z": presses the keys in this order, and lets go of them in the other. False, and
// nothing is pressed, when there is no such key.
bool pressKeys(const std::string& names);

void typeText(const std::wstring& text);

// The flags are those of MOUSEINPUT, beside a move to that place of the screen.
void mouse(DWORD flags, int x, int y);
void click(int x, int y);
void rightClick(int x, int y);
