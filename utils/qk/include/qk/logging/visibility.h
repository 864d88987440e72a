#pragma once

/// Marks what a shared library of this code shows; everything else in it is hidden.
#define QK_LOGGING_API [[gnu::visibility("default")]]
