// The window class of windows that ask for none.
#pragma once

#include <afx.h>

// Registers it, once.
// @return its name.
LPCTSTR RegisterWindowClass();

// Takes it back, before the module is unloaded. Not while the process ends: its other threads have
// been killed by then where they stood, perhaps inside the window system.
void UnregisterWindowClass();
