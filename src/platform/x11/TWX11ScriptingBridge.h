// Former name of the X11 file-manager window objects, now served by TWScriptingAdapter for every
// backend; kept only for code not yet moved to the new names.
#pragma once

#include "TWScriptingAdapter.h"
#include "TWX11FileManagerWindows.h"

using TWX11ScriptingWindow = TWScriptingAdapterWindow;
