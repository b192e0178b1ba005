// State of the decode in progress.
#pragma once

namespace viq {

bool decode_under_way();

} // namespace viq
