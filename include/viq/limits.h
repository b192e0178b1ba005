/**
 * @file
 * Limits for pictures, memory and files that a caller sets.
 */
#ifndef VIQ_LIMITS_H
#define VIQ_LIMITS_H

#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @defgroup viq_limits Limits
 *
 * A program that reads files of unknown origin can limit what a call may use. A call that would
 * exceed a limit fails with a message that names the limit, and leaves the library in the state
 * that another failure of the same kind would.
 *
 * Without limits the readers already use memory in proportion to the size of a file, apart from the
 * image itself, and reject a header that claims more pixels than its data can hold. A valid
 * compressed file, however, can have thousands of pixels for each byte.
 *
 * Limits belong to the context of the calling thread (@ref viq_context). A new context has those of
 * its maker's; VIQ_Init does not change them. All limits are 0 at first, which means no limit.
 * @{
 */

/**
 * Pixels of an image, width x height; lines of the strip if the height is VIQ_HEIGHT_UNKNOWN. An
 * image with more fails the image check that every operation makes first, with VIQ_ERR_CORRUPT |
 * 0x13 "Image exceeds VIQ_LIMIT_PIXELS". The operation does not report the failure again.
 */
#define VIQ_LIMIT_PIXELS 1

/**
 * Bytes of one allocation. The call that needs a larger one fails with VIQ_ERR_MEMORY (some
 * functions add low bits of the size) "Allocation exceeds VIQ_LIMIT_ALLOCATION".
 */
#define VIQ_LIMIT_ALLOCATION 2

/**
 * Bytes of all that the library has allocated, in all contexts together. Buffers of the caller and
 * memory that is the caller's to free do not count. A call of this context that needs more fails
 * with VIQ_ERR_MEMORY "Memory in use would exceed VIQ_LIMIT_MEMORY".
 */
#define VIQ_LIMIT_MEMORY 3

/**
 * Bytes of a file that is read. A larger one is refused when it is opened, with VIQ_ERR_CORRUPT
 * "File exceeds VIQ_LIMIT_FILE".
 */
#define VIQ_LIMIT_FILE 4

/**
 * Pixels for each byte of coded data: of the file, for JPEG and wavelet images of the compressed
 * data. The reader, or the decoder of data that a caller has set, fails with VIQ_ERR_CORRUPT
 * "Pixels per byte of coded data exceed VIQ_LIMIT_RATIO".
 */
#define VIQ_LIMIT_RATIO 5

/**
 * @param dwLimit  one of the constants above
 * @param qwValue  the largest permitted number; 0: no limit
 * @return 0, or:
 *   VIQ_ERR_PARAMETER "Unknown limit"
 */
VIQ_API uint32_t VIQ_CALL VIQ_set_limit(uint32_t dwLimit, uint64_t qwValue);

/**
 * @param dwLimit  one of the constants above
 * @param[out] pqwValue  the limit; 0: none
 * @return 0, or:
 *   VIQ_ERR_PARAMETER "Unknown limit";
 *   VIQ_ERR_PARAMETER "Null pointer"
 */
VIQ_API uint32_t VIQ_CALL VIQ_get_limit(uint32_t dwLimit, uint64_t *pqwValue);

/** @} */

#ifdef __cplusplus
}
#endif

#endif
