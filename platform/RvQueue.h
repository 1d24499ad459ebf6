/** The serial queue on which the plug-in runs: made by the host, handed on by the plug-in as it is. */
#ifndef PLATFORM_RV_QUEUE_H
#define PLATFORM_RV_QUEUE_H

/**
 * A serial queue: runs one piece of work at a time, in the order in which the pieces were posted.
 * Borrowed everywhere; the host keeps it alive until everything that was bound to it is gone.
 */
typedef struct RvQueue *RvQueueRef;

#endif
