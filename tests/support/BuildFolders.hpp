// The checkout and build folders, for tests that run the repository's scripts or leave pictures
// for a person to look at. Only the test programs' main knows them, so every other test object
// compiles the same in any checkout and comes from the compiler cache.
#pragma once

namespace tw::testing {

extern const char* const sourceFolder;
extern const char* const buildFolder;

} // namespace tw::testing
