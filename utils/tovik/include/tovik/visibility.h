#pragma once

/// Exports a class or function from the shared libraries of the framework and its modules, which hide everything else.
#define TOVIK_API [[gnu::visibility("default")]]
