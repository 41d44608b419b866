// Process-wide allocator settings for a program that keeps replacing large documents.
#pragma once

namespace tw {

// Every edit of a long programme frees and allocates lists of several megabytes (the document,
// its undo copies, the saved snapshot). By default the allocator hands such blocks back to the
// system and faults fresh pages in for the next one, which costs more than the edit itself. Call
// once at the start of main(), before other threads exist.
void keepFreedMemoryForReuse();

} // namespace tw
