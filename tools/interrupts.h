// Requests of the user to stop, such as Ctrl-C.
#pragma once

namespace tool {

// From now on such a request does not end the process; it is noticed.
void notice_interrupts();

// Whether the user has asked to stop since.
bool is_interrupted();

} // namespace tool
