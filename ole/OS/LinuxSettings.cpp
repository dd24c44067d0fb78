#include "OS/LinuxSettings.h"

#include "OS/LinuxPlatform.h"

#include <atomic>
#include <cstring>
#include <new>

namespace Vq {

namespace {

// Lists that only grow: a reader walks them while a writer puts a new head before them. Two threads
// that set the same thing at once may each add an element; then the later one lies unused.

struct Text {
    const Text* next;
    const char* characters;
};

struct Folder {
    const Folder* next;
    int kind;
    mutable std::atomic<const char*> path;
};

constinit std::atomic<const Text*> texts = nullptr;
constinit std::atomic<const Folder*> folders = nullptr;
constinit std::atomic<const char*> applicationName = nullptr;

void* allocate(std::size_t bytes) {
    return linuxPlatform()->memory()->allocate(bytes);
}

/// Release, in step with the acquire of the readers: they see the element whole.
template <class Element> void push(std::atomic<const Element*>& list, Element* element) {
    element->next = list.load(std::memory_order_relaxed);
    while (!list.compare_exchange_weak(element->next, element, std::memory_order_release,
                                       std::memory_order_relaxed)) {
    }
}

/// A copy of `text` that stays, null for null and for the empty text.
const char* keep(const char* text) {
    if (!text || *text == '\0') return nullptr;
    for (const Text* t = texts.load(std::memory_order_acquire); t; t = t->next) {
        if (std::strcmp(t->characters, text) == 0) return t->characters;
    }
    // One block, the characters behind the element.
    const std::size_t size = std::strlen(text) + 1;
    void* block = allocate(sizeof(Text) + size);
    auto* characters = static_cast<char*>(block) + sizeof(Text);
    std::memcpy(characters, text, size);
    push(texts, ::new (block) Text{nullptr, characters});
    return characters;
}

const Folder* find(int kind) noexcept {
    const Folder* folder = folders.load(std::memory_order_acquire);
    while (folder && folder->kind != kind) folder = folder->next;
    return folder;
}

} // namespace

const char* applicationNameSetting() noexcept {
    return applicationName.load(std::memory_order_acquire);
}

const char* folderSetting(int kind) noexcept {
    const Folder* folder = find(kind);
    return folder ? folder->path.load(std::memory_order_acquire) : nullptr;
}

} // namespace Vq

void setApplicationName(const char* name) {
    Vq::applicationName.store(Vq::keep(name), std::memory_order_release);
}

void setFolder(int kind, const char* path) {
    const char* const kept = Vq::keep(path);
    if (const Vq::Folder* folder = Vq::find(kind)) {
        folder->path.store(kept, std::memory_order_release);
    } else if (kept) {
        Vq::push(Vq::folders,
                 ::new (Vq::allocate(sizeof(Vq::Folder))) Vq::Folder{nullptr, kind, kept});
    }
}
