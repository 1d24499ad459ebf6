/** The same work on a sequence of blocks, by several threads, with the results in order. */
#pragma once

#include <functional>
#include <vector>

#include "decoder/text_stream.h"
#include "qor/report.h"

namespace cli {

/** A block of reports and what became of them. */
struct Block {
    std::vector<_QorProfileReport> reports;
    text_buffer text;
};

/** What is done with each block. */
struct BlockSteps {
    /** Refills the reports; false at the end. One thread at a time, in order. */
    std::function<bool(Block &block)> fill;
    /** Makes the text of the reports. Several threads at a time. */
    std::function<void(Block &block)> work;
    /** Takes the text away. One thread at a time, in the order of filling. */
    std::function<void(const Block &block)> deliver;
};

/**
 * Takes blocks through the three steps until there are no more, with `threads` threads (at least 1), this one among
 * them. A few blocks are used again and again: memory does not grow with their number, and a thread whose block is
 * finished before its turn goes on with another, up to sixteen (or `threads`, if that is more) under way.
 * @throws whatever a step throws first, after every thread has stopped. What was filled before the block in
 *         question is delivered; nothing after it is.
 */
void work_in_order(unsigned threads, const BlockSteps &steps);

/** As many threads as this process may run at once, but no more than pay. */
unsigned worker_count();

} // namespace cli
