#pragma once

#include <condition_variable>
#include <deque>
#include <mutex>
#include <optional>
#include <utility>

/// Hands items from one thread to another, first in, first out. Items have a weight; together they never exceed the
/// limit, unless one alone does.
template <class Item>
class BoundedQueue {
public:
    explicit BoundedQueue(std::size_t limit) : m_Limit(limit) {}

    /// Waits for room. False once the queue is closed; the item is dropped then.
    bool Push(Item item, std::size_t weight) {
        std::unique_lock<std::mutex> lock(m_Mutex);
        m_Changed.wait(lock, [&] { return m_Closed || m_Items.empty() || m_Weight + weight <= m_Limit; });
        if (m_Closed) {
            return false;
        }
        m_Items.emplace_back(std::move(item), weight);
        m_Weight += weight;
        m_Changed.notify_all();
        return true;
    }

    /// Waits for an item. Nothing once the queue is closed and empty.
    std::optional<Item> Pop() {
        std::unique_lock<std::mutex> lock(m_Mutex);
        m_Changed.wait(lock, [&] { return m_Closed || !m_Items.empty(); });
        if (m_Items.empty()) {
            return std::nullopt;
        }
        Item item = std::move(m_Items.front().first);
        m_Weight -= m_Items.front().second;
        m_Items.pop_front();
        m_Changed.notify_all();
        return item;
    }

    /// No item goes in from now on.
    void Close() {
        const std::lock_guard<std::mutex> lock(m_Mutex);
        m_Closed = true;
        m_Changed.notify_all();
    }

private:
    std::size_t m_Limit;
    std::mutex m_Mutex;
    std::condition_variable m_Changed;
    std::deque<std::pair<Item, std::size_t>> m_Items;
    std::size_t m_Weight = 0;
    bool m_Closed = false;
};
