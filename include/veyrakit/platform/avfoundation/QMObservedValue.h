#pragma once
#include <functional>
#include <utility>

#include "veyrakit/platform/QMObject.h"

namespace veyrakit {

// Assigns a key-value observable property the way the platform's player classes do: nothing at
// all when the new value equals the old one; otherwise `beforeChange` (work that must see the old
// value), then will/did around the assignment, with the new value in the change. Returns whether
// the value changed. std::equal_to never finds a NaN equal, so a NaN is always announced.
template <typename T, typename Equal = std::equal_to<T>>
bool QMSetObservedValue(QMObject& owner, const char* key, T& field, T value, Equal equal = Equal{},
                        const std::function<void()>& beforeChange = nullptr) {
    if (equal(field, value)) {
        return false;
    }
    if (beforeChange) {
        beforeChange();
    }
    owner.willChangeValueForKey(key);
    field = std::move(value);
    owner.didChangeValueForKey(key, field);
    return true;
}

}  // namespace veyrakit
