#pragma once

/// Exports a class or function from the shared library, which hides everything else.
#define QK_LOGGING_API [[gnu::visibility("default")]]
