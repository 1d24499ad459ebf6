/** The serial queue on which the plug-in runs. The host creates it; the plug-in only passes it on. */
#ifndef PLATFORM_RV_QUEUE_H
#define PLATFORM_RV_QUEUE_H

/**
 * A serial queue: runs one task at a time, in the order in which the tasks were posted. Borrowed everywhere: the host
 * keeps it alive until everything that was bound to it is gone.
 */
typedef struct RvQueue *RvQueueRef;

#endif
