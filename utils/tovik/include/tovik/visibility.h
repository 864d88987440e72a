#pragma once

/// Marks what the shared libraries of the framework and of its modules show; everything else in them is hidden.
#define TOVIK_API [[gnu::visibility("default")]]
