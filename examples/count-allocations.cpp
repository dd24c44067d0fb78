// count-allocations: a platform of its own, which counts the blocks that the library asks for and
// leaves all else to the platform for Linux.

#include "OS/LinuxPlatform.h"
#include "Vq/LightweightString.h"

#include <atomic>
#include <iostream>
#include <new>

static std::atomic<int> blocks = 0;
static iMemory& realMemory() {
    return *linuxPlatform()->memory();
}

class CountingMemory : public iMemory {
public:
    void* allocate(unsigned long bytes) override {
        ++blocks;
        return realMemory().allocate(bytes);
    }
    void deallocate(void* block) override { realMemory().deallocate(block); }
    void registerReclaimable(iReclaimable* it) override { realMemory().registerReclaimable(it); }
    void unregisterReclaimable(iReclaimable* it) override {
        realMemory().unregisterReclaimable(it);
    }
};

class CountingPlatform : public iPlatform {
public:
    iMemory* memory() override { return &memory_; }
    iSystemUtils* utils() override { return linuxPlatform()->utils(); }
    iFileSystem* fileSystem() override { return linuxPlatform()->fileSystem(); }
    iSyncFactory* sync() override { return linuxPlatform()->sync(); }
    iAtomics* atomics() override { return linuxPlatform()->atomics(); }
    iCPUInfo* cpu() override { return linuxPlatform()->cpu(); }
    iFolders* folders() override { return linuxPlatform()->folders(); }

private:
    CountingMemory memory_;
};

// Takes the place of libOS's for every call of the library, operator new among them: it asks for no
// memory itself, and stays until the process is gone.
iPlatform* OS() {
    alignas(CountingPlatform) static unsigned char place[sizeof(CountingPlatform)];
    static iPlatform* const platform = new (place) CountingPlatform;
    return platform;
}

int main() {
    blocks = 0; // without those of the start
    const LightweightString<char> title = "Harbour";
    std::cout << "blocks for a text: " << blocks << '\n';
    LightweightString<char> copy = title;
    std::cout << "with its copy: " << blocks << '\n';
    copy += ", take 2";
    std::cout << "with a copy that has changed: " << blocks << '\n';
}
