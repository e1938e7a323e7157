// Nothing: CMake makes precompiled headers for a target, and a target needs a source.
