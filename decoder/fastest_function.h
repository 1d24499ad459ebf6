/** Functions of which there is one for the processors that have certain instructions, and one for all others. */
#ifndef DECODER_FASTEST_FUNCTION_H
#define DECODER_FASTEST_FUNCTION_H

#include <atomic>

namespace decoder {

/**
 * Calls `with_vectors` or `portable`, which do the same. The first call asks `has_vectors` which it is. Initialized at
 * compile time, so that it works before and during the initialization of other static objects. Any thread.
 */
template <auto with_vectors, auto portable, bool (*has_vectors)()>
class fastest_function;

template <typename Result, typename... Arguments, Result (*with_vectors)(Arguments...),
          Result (*portable)(Arguments...), bool (*has_vectors)()>
class fastest_function<with_vectors, portable, has_vectors> {
public:
    static Result call(Arguments... arguments) { return _chosen.load(std::memory_order_relaxed)(arguments...); }

private:
    static Result choose_and_call(Arguments... arguments) {
        const auto chosen = has_vectors() ? with_vectors : portable;
        _chosen.store(chosen, std::memory_order_relaxed);
        return chosen(arguments...);
    }

    static inline constinit std::atomic<Result (*)(Arguments...)> _chosen{choose_and_call};
};

} // namespace decoder

#endif
