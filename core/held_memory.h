// The addresses of the memory that the library holds for images: strip buffers, coded data, wavelet
// records. A caller can set such an address in another image, with which it must not be freed.
#pragma once

namespace viq {

// False if memory runs out.
bool hold_memory(const void *start);

// The memory is about to be freed. Does nothing for other addresses.
void let_go_of_memory(const void *start);

bool is_held_memory(const void *start);

} // namespace viq
