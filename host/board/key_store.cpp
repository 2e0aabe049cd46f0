#include "host/board/key_store.h"

#include <algorithm>
#include <utility>

namespace talvor {

void KeyStore::set(std::string_view name, std::string text, uint32_t line) {
    const auto found = std::find_if(keys_.begin(), keys_.end(),
                                    [name](const Key& key) { return key.name == name; });
    if (found == keys_.end()) {
        keys_.push_back(Key{std::string(name), std::move(text), line});
    } else {
        found->text = std::move(text);
        found->line = line;
    }
}

void KeyStore::set_default(std::string_view name, std::string text) {
    if (find(name) == nullptr) {
        set(name, std::move(text));
    }
}

const Key* KeyStore::find(std::string_view name) const noexcept {
    const auto found = std::find_if(keys_.begin(), keys_.end(),
                                    [name](const Key& key) { return key.name == name; });
    return found == keys_.end() ? nullptr : &*found;
}

} // namespace talvor
