// What a program would write itself: a map keyed by type and name, one mutex around it all.

#include "Bench.h"
#include "RegistryNames.h"

#include <cstddef>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <typeindex>
#include <unordered_map>
#include <utility>
#include <vector>

#ifdef VQ_PEER_QT
#include <QByteArray>
#include <QHash>
#include <QMutex>
#endif

namespace {

using vqbench::Registered;

class StdMap {
public:
    void create(const char* name, Registered* object) {
        objects_.emplace(Key(typeid(Registered), name), object);
    }

    Registered* find(const char* name) {
        const View key(typeid(Registered), name);
        const std::scoped_lock hold(lock_);
        const auto found = objects_.find(key);
        return found == objects_.end() ? nullptr : found->second;
    }

private:
    using Key = std::pair<std::type_index, std::string>;
    using View = std::pair<std::type_index, std::string_view>;

    // Found by a view: no string is made for a lookup.
    struct Hash {
        using is_transparent = void;
        std::size_t operator()(const View& key) const {
            return key.first.hash_code() ^ std::hash<std::string_view>()(key.second);
        }
        std::size_t operator()(const Key& key) const { return (*this)(View(key)); }
    };
    struct Equal {
        using is_transparent = void;
        bool operator()(const View& a, const View& b) const { return a == b; }
    };

    std::mutex lock_;
    std::unordered_map<Key, Registered*, Hash, Equal> objects_;
};

#ifdef VQ_PEER_QT
class QtHash {
public:
    void create(const char* name, Registered* object) {
        objects_.insert(Key(typeid(Registered), name), object);
    }

    Registered* find(const char* name) {
        const Key key(typeid(Registered),
                      QByteArray::fromRawData(name, static_cast<qsizetype>(qstrlen(name))));
        const QMutexLocker hold(&lock_);
        return objects_.value(key);
    }

private:
    struct Key {
        Key(std::type_index ofType, const QByteArray& ofName) : type(ofType), name(ofName) {}

        bool operator==(const Key& other) const { return type == other.type && name == other.name; }
        friend std::size_t qHash(const Key& key, std::size_t seed) {
            return key.type.hash_code() ^ qHash(key.name, seed);
        }

        std::type_index type;
        QByteArray name;
    };

    QMutex lock_;
    QHash<Key, Registered*> objects_;
};
#endif

template <class Peer> void find(benchmark::State& state, std::size_t entries) {
    std::vector<Registered> objects = vqbench::registeredObjects(entries);
    Peer peer;
    for (Registered& object : objects) {
        peer.create(vqbench::registeredName(object.number).c_str(), &object);
    }
    for (Registered& object : objects) {
        const std::string name = vqbench::registeredName(object.number);
        vqbench::require(peer.find(name.c_str()) == &object);
    }
    vqbench::require(peer.find("absent") == nullptr);
    const std::vector<std::string> names = vqbench::namesToFind(entries);
    std::size_t next = 0;
    for (auto step : state) {
        benchmark::DoNotOptimize(peer.find(names[next].c_str()));
        next = (next + 1) % names.size();
    }
    state.SetItemsProcessed(state.iterations());
}

template <class Peer> void addPeer(const char* name) {
    for (const long entries : {10, 1000, 100000}) {
        vqbench::add("registry.find", name, entries, [=](benchmark::State& state) {
            find<Peer>(state, static_cast<std::size_t>(entries));
        });
    }
}

[[maybe_unused]] const bool added = [] {
    addPeer<StdMap>("std");
#ifdef VQ_PEER_QT
    addPeer<QtHash>("qhash");
#endif
    return true;
}();

} // namespace
