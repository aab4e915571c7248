// The named objects of one kind in this process, with the marker that holds
// each name for other processes (markers.h). Internal to the platform
// library.
#pragma once

#include <unistd.h>

#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>

namespace platform {

// An entry can outlive its object for a moment: between the last reference
// going and the object's destructor taking the lock. A creator that comes in
// that moment takes the name over, marker included, so the name is never
// seen as held by somebody else; the dying object then finds that it no
// longer owns the name and leaves it alone.
template <typename Object>
class NamedObjects {
public:
    struct Entry {
        std::weak_ptr<Object> object;
        const Object *owner = nullptr;
        int marker = -1; // -1 while another process holds the name
    };

    std::mutex &lock() { return m_lock; }

    // Any thread, without the lock: whether no name is in use in this
    // process, as of a moment ago.
    bool empty() const { return m_count.load(std::memory_order_relaxed) == 0; }

    // With lock() held: the live object that has the name, or null.
    std::shared_ptr<Object> liveLocked(const std::string &key)
    {
        auto found = m_entries.find(key);
        return found != m_entries.end() ? found->second.object.lock() : nullptr;
    }

    // With lock() held: the entry of the name, made empty when missing.
    Entry &entryLocked(const std::string &key)
    {
        Entry &entry = m_entries[key];
        m_count.store(m_entries.size(), std::memory_order_relaxed);
        return entry;
    }

    // With lock() held: object now has the name.
    void bindLocked(Entry &entry, const std::shared_ptr<Object> &object)
    {
        entry.object = object;
        entry.owner = object.get();
    }

    // With lock() held: forgets a name that has no live object.
    void forgetLocked(const std::string &key)
    {
        auto found = m_entries.find(key);
        if (found != m_entries.end() && found->second.object.expired()) {
            if (found->second.marker >= 0)
                close(found->second.marker);
            m_entries.erase(found);
            m_count.store(m_entries.size(), std::memory_order_relaxed);
        }
    }

    // With lock() held, from the object's destructor: lets go of the name
    // and its marker; false when a newer object has taken the name over.
    bool releaseLocked(const std::string &key, const Object *object)
    {
        auto found = m_entries.find(key);
        if (found == m_entries.end() || found->second.owner != object)
            return false;
        if (found->second.marker >= 0)
            close(found->second.marker);
        m_entries.erase(found);
        m_count.store(m_entries.size(), std::memory_order_relaxed);
        return true;
    }

private:
    std::mutex m_lock;
    std::unordered_map<std::string, Entry> m_entries; // guarded by m_lock
    std::atomic<size_t> m_count{ 0 };                 // m_entries.size(), written under m_lock
};

} // namespace platform
