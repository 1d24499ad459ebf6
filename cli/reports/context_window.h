/** Which items of a sequence stand around those that are looked for. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>

namespace cli {

/**
 * An item that is shown.
 * @tparam Item  is copied.
 */
template <typename Item>
struct Shown {
    Item item;
    std::uint64_t number; ///< its place in the sequence, from 0
};

/**
 * Shows every hit of a sequence with the items around it. Each item is shown once, in order, as soon as it is known
 * that it is shown. Keeps at most `context` items. One thread at a time.
 */
template <typename Item>
class ContextWindow {
public:
    /** @param context  how many items before and after each hit. */
    explicit ContextWindow(std::uint64_t context) : _context(context) {}

    /** Adds the next item. @param show  called with each item (`Shown`) that is shown now. */
    template <typename Show>
    void add(const Item &item, bool is_hit, const Show &show) {
        const std::uint64_t number = _added++;
        if (is_hit) {
            show_before(number, show);
            show(Shown<Item>{item, number});
            _left_after = _context;
        } else if (_left_after != 0) {
            show(Shown<Item>{item, number});
            --_left_after;
        } else if (_context != 0) {
            if (_before.size() == _context) {
                _before.pop_front();
            }
            _before.push_back(item);
        }
    }

    /** Whether the next item is shown whatever it is. */
    bool shows_next() const { return _left_after != 0; }

private:
    template <typename Show>
    void show_before(std::uint64_t hit, const Show &show) {
        std::uint64_t number = hit - _before.size();
        for (const Item &item : _before) {
            show(Shown<Item>{item, number++});
        }
        _before.clear();
    }

    std::uint64_t _context;
    std::deque<Item> _before; ///< the last ones that have not been shown
    std::uint64_t _added = 0;
    std::uint64_t _left_after = 0; ///< how many items are still shown after the last hit
};

/**
 * Finds the item of a sequence that is nearest to something, the first of several, and keeps it with those around it:
 * at most `context` before it, as many after it, and the last `context` of the sequence. One thread at a time.
 */
template <typename Item>
class NearestWindow {
public:
    explicit NearestWindow(std::uint64_t context) : _context(context) {}

    /** Adds the next item. @param distance  nothing for an item that is not looked for. */
    void add(const Item &item, const std::optional<std::uint64_t> &distance) {
        const std::uint64_t number = _added++;
        if (distance && (!_distance || *distance < *_distance)) {
            _distance = distance;
            move_window();
            _window.push_back({item, number});
            _left_after = _context;
        } else if (_left_after != 0) {
            _window.push_back({item, number});
            --_left_after;
        }
        if (_context != 0) {
            if (_recent.size() == _context) {
                _recent.pop_front();
            }
            _recent.push_back({item, number});
        }
    }

    /** Whether no later item can change what is shown: there is none between here and the nearest. */
    bool is_settled() const { return _distance == std::uint64_t{0} && _left_after == 0; }

    /** Calls `show` with each item of the window and empties it. Nothing when no item was looked for. */
    template <typename Show>
    void show_all(const Show &show) {
        for (const Shown<Item> &shown : _window) {
            show(shown);
        }
        _window.clear();
    }

private:
    /** Leaves those in the window that stand before the next item. */
    void move_window() {
        if (_left_after == 0) {
            // The copy is paid for by the items since the last one: the window was full then.
            _window = _recent;
        }
        while (_window.size() > _context) {
            _window.pop_front();
        }
    }

    std::uint64_t _context;
    std::optional<std::uint64_t> _distance; ///< of the nearest so far
    std::deque<Shown<Item>> _window;        ///< around it
    std::deque<Shown<Item>> _recent;        ///< the last ones, of which another window may begin
    std::uint64_t _added = 0;
    std::uint64_t _left_after = 0; ///< how many items the window still lacks
};

/** Keeps the last hits of a sequence with the items around them. One thread at a time. */
template <typename Item>
class LastWindows {
public:
    /** @param hits  how many. */
    LastWindows(std::uint64_t hits, std::uint64_t context) : _most_hits(hits), _context(context), _window(context) {}

    /** Adds the next item. */
    void add(const Item &item, bool is_hit) {
        if (_most_hits == 0) {
            return;
        }
        if (is_hit) {
            _hits.push_back(_added);
        }
        ++_added;
        _window.add(item, is_hit, [this](const Shown<Item> &shown) { _kept.push_back(shown); });
        if (_hits.size() > _most_hits) {
            _hits.pop_front();
            forget_before(_hits.front());
        }
    }

    /** Calls `show` with each item and forgets them. */
    template <typename Show>
    void show_all(const Show &show) {
        for (const Shown<Item> &shown : _kept) {
            show(shown);
        }
        _kept.clear();
    }

private:
    /** Forgets what does not stand around the hit or after it. */
    void forget_before(std::uint64_t hit) {
        while (_kept.front().number + _context < hit) {
            _kept.pop_front();
        }
    }

    std::uint64_t _most_hits;
    std::uint64_t _context;
    ContextWindow<Item> _window;
    std::deque<Shown<Item>> _kept;
    std::deque<std::uint64_t> _hits; ///< their numbers
    std::uint64_t _added = 0;
};

} // namespace cli
