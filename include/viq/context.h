/**
 * @file
 * Contexts: one for each thread that works at the same time as others.
 */
#ifndef VIQ_CONTEXT_H
#define VIQ_CONTEXT_H

#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @defgroup viq_context Contexts
 *
 * Everything that the library keeps between two calls belongs to a context: the strip sequences of
 * all operations with the lines that they keep, open readers and writers, the JPEG coder and its
 * code tables, lookup tables, conversion tables, chroma-key objects, scratch memory, the error
 * records and handlers. Every thread is bound to one context; threads that are bound to different
 * contexts call the library at the same time.
 *
 * Context 0 is the process's own. Every thread is bound to it at first, and any number of threads
 * may be; they must not call the library at the same time. A program with one thread needs no other
 * context.
 *
 * Shared by all contexts:
 * - Images. A handle that one thread has received from VIQ_image_create is valid in every thread.
 *   An image is used by one thread at a time: a program passes it on with a queue or a lock of its
 *   own. An operation on strips that meets an image which a call of another context is using at
 *   that moment, and VIQ_image_destroy, return VIQ_ERR_STATE "Image in use by another thread".
 * - Tables that never change, and the counts of VIQ_DebugMalloc, which are sums over all threads.
 *
 * Handles of lookup tables and of chroma-key objects are valid in the context that has created
 * them.
 *
 * VIQ_image_destroy(VIQ_ALL_IMAGES) destroys all images of the process, and the tables, objects and
 * sequences of the calling thread's context. Where another context has a sequence with one of these
 * images, its next call finds that the image does not exist.
 *
 * A thread that has a strip sequence under way in one context and binds itself to another one finds
 * the sequence again when it returns.
 * @{
 */

/**
 * Creates a context, with the error handlers of the calling thread's context and otherwise in the
 * state that VIQ_Init leaves. The calling thread stays bound to its own context, which is started
 * first if it has not been (VIQ_Init). Threads may call this function and VIQ_context_use at the
 * same time as others call any function.
 *
 * @return the context, 1 to 65535, or:
 *   VIQ_ERR_MEMORY "": an allocation failed;
 *   VIQ_ERR_NO_HANDLES "Run out of contexts": 65535 contexts exist;
 *   VIQ_ERR_STATE, not reported: called by an error handler;
 *   the error of the image that start-up creates for a moment
 */
VIQ_API uint32_t VIQ_CALL VIQ_context_create(void);

/**
 * Binds the calling thread to a context. Its previous context becomes free for another thread; so
 * does its context when the thread ends.
 *
 * @param hContext  a context, or 0 for the process's own
 * @return 0, or:
 *   VIQ_ERR_HANDLE "": no such context;
 *   VIQ_ERR_STATE "Context in use": another thread is bound to it;
 *   VIQ_ERR_STATE, not reported: called by an error handler
 */
VIQ_API uint32_t VIQ_CALL VIQ_context_use(uint32_t hContext);

/**
 * @return the context that the calling thread is bound to; 0: the process's own
 */
VIQ_API uint32_t VIQ_CALL VIQ_context_current(void);

/**
 * Destroys a context: ends what is under way in it, closes its files, frees its tables and objects.
 * A file that is being written keeps the lines that it has, as after VIQ_STRIP_FINISH. Images are
 * not destroyed. If it is the calling thread's own context, the thread is bound to context 0
 * afterwards.
 *
 * @param hContext  a context; context 0 cannot be destroyed
 * @return 0, or:
 *   VIQ_ERR_HANDLE "": no such context, or 0;
 *   VIQ_ERR_STATE "Context in use": another thread is bound to it;
 *   VIQ_ERR_STATE, not reported: called by an error handler
 */
VIQ_API uint32_t VIQ_CALL VIQ_context_destroy(uint32_t hContext);

/** @} */

#ifdef __cplusplus
}
#endif

#endif
