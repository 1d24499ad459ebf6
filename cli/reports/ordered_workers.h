/** Work on a sequence of blocks by several threads, with the results in order. */
#pragma once

#include <functional>

#include "cli/dumps/report_block.h"
#include "decoder/text_stream.h"

namespace cli {

/** A block of reports and their text. */
struct Block : ReportBlock {
    text_buffer text;
};

/** The three steps of every block. */
struct BlockSteps {
    /** Refills the reports; returns false at the end. One thread at a time, in order. */
    std::function<bool(Block &block)> fill;
    /** Appends the text of the reports to the empty `text`. Several threads at a time. */
    std::function<void(Block &block)> work;
    /** Consumes the text. One thread at a time, in the order of filling. */
    std::function<void(const Block &block)> deliver;
};

/**
 * Takes blocks through the three steps until `fill` returns false. Uses `threads` threads, including the calling one,
 * and at least 1. Sixteen blocks (or `threads`, if that is more) are reused, so memory does not grow with the input; a
 * thread whose block is finished before its turn goes on with another one.
 * @throws what the first failing block, in order, threw, after every thread has stopped. All blocks before it are
 *         delivered, and none after it.
 */
void work_in_order(unsigned threads, const BlockSteps &steps);

/** The number of threads worth using on this machine: 1 to 8. */
unsigned worker_count();

} // namespace cli
