// Things that are kept for clients, within bounds.

#pragma once

#include "Kernel/Timer.h"

#include "envelope/Rejection.h"
#include "jobs/Token.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <utility>

namespace Service {

/// What a shelf holds at most.
struct ShelfLimits {
    std::size_t count = 10'000;
    std::size_t size = std::size_t{256} << 20;  // of all together, in bytes
    std::chrono::milliseconds age = std::chrono::hours(1);
    /// What is younger is not taken away to make room; longer than clients ask for a result.
    std::chrono::milliseconds leastAge = std::chrono::minutes(2);
};

/// The names of a thing, which nobody can guess: for those who may ask for operations, and for
/// addresses, which need no credentials.
struct Names {
    std::string id;
    std::string token;
};

/// Keeps things for a while. Threads: any, at the same time.
template <class Thing>
class Shelf {
public:
    explicit Shelf(ShelfLimits limits) : m_limits(limits) {}

    struct Found {
        std::shared_ptr<Thing> thing;  // null if there is none, or it is too old
        std::string token;
    };

    /// Keeps `thing`, which takes `size` bytes, and returns its names. Things that are old make
    /// room; throws Rejection if there is none.
    Names Add(std::shared_ptr<Thing> thing, std::size_t size) {
        const std::lock_guard lock(m_mutex);
        MakeRoom(1, size);
        const auto place =
            m_places.insert(m_places.end(), {{MakeToken(), MakeToken()}, std::move(thing), 0, {}});
        m_byName[place->names.id] = place;
        m_byName[place->names.token] = place;
        SetSize(*place, size);
        return place->names;
    }

    Found Find(const std::string& id) {
        const std::lock_guard lock(m_mutex);
        const Place* const place = FindPlace(id);
        return place != nullptr && place->names.id == id ? Found{place->thing, place->names.token}
                                                         : Found{};
    }
    /// Null if there is none, or it is too old.
    std::shared_ptr<Thing> FindByToken(const std::string& token) {
        const std::lock_guard lock(m_mutex);
        const Place* const place = FindPlace(token);
        return place != nullptr && place->names.token == token ? place->thing : nullptr;
    }

    /// Notes that the thing of that name takes `size` bytes now. Throws Rejection as Add() does.
    void Resize(const std::string& name, std::size_t size) {
        const std::lock_guard lock(m_mutex);
        Place* const place = FindPlace(name);
        if (place == nullptr) {
            return;
        }
        const std::size_t before = place->size;
        if (size > before) {
            MakeRoom(0, size - before);
        }
        if (Place* const kept = FindPlace(name)) {  // unless it was the oldest
            SetSize(*kept, size);
        }
    }

private:
    struct Place {
        Names names;
        std::shared_ptr<Thing> thing;
        std::size_t size;
        Kernel::Timer timer;

        bool IsOlderThan(std::chrono::milliseconds age) const {
            return timer.GetElapsedMilliseconds() > static_cast<double>(age.count());
        }
    };

    Place* FindPlace(const std::string& name) {
        while (!m_places.empty() && m_places.front().IsOlderThan(m_limits.age)) {
            RemoveOldest();
        }
        const auto found = m_byName.find(name);
        return found != m_byName.end() ? &*found->second : nullptr;
    }

    void MakeRoom(std::size_t count, std::size_t size) {
        const auto fits = [&] {
            return m_places.size() + count <= m_limits.count && size <= m_limits.size &&
                   m_size <= m_limits.size - size;
        };
        while (!m_places.empty() &&
               m_places.front().IsOlderThan(fits() ? m_limits.age
                                                   : std::min(m_limits.age, m_limits.leastAge))) {
            RemoveOldest();
        }
        if (!fits()) {
            throw Rejection(Code::Busy);
        }
    }

    void SetSize(Place& place, std::size_t size) noexcept {
        m_size += size - place.size;
        place.size = size;
    }

    void RemoveOldest() {
        Place& oldest = m_places.front();
        SetSize(oldest, 0);
        m_byName.erase(oldest.names.id);
        m_byName.erase(oldest.names.token);
        m_places.pop_front();
    }

    const ShelfLimits m_limits;
    std::mutex m_mutex;
    std::list<Place> m_places;  // the oldest comes first
    std::unordered_map<std::string, typename std::list<Place>::iterator> m_byName;
    std::size_t m_size = 0;
};

}  // namespace Service
