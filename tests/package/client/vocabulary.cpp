// The families that are built on the core, each name once.
#include "client.h"

#include "OS/LinuxPlatform.h"
#include "Vq/Vq.h"

#include <mutex>
#include <shared_mutex>
#include <string_view>
#include <type_traits>
#include <unordered_set>

// An application's own enumerators.
enum Vq::Image::Format : int { kPlanar = 7 };
enum Vq::FrameRate : int { kFilm = 24 };
enum Shutdown::eExitType : int { kNormalExit = 1 };

namespace {

struct Plain {
    int value = 1;
};

// --- Locks

static_assert(sizeof(Vq::LockFree::RWLock) == 8);

void locks() {
    CriticalSection lock, named("named"), tuned(0U), copy(lock);
    {
        const std::scoped_lock hold(lock, named);
        EXPECT(copy.owner() == OS()->sync()->currentThreadId());
    }
    lock.enter();
    EXPECT(lock.attemptEntry() == 0 && copy.try_lock());
    copy.unlock();
    lock.leave();
    lock.leave();
    lock.setName("renamed");
    EXPECT(copy.name() == "renamed" && lock.owner() == 0);
    lock.init(0);
    lock.debugPrint();
    EXPECT(lock.name().empty());
}

void gate() {
    Vq::LockFree::RWLock gate(0, 0);
    const Vq::LockFree::RWLock packed(3L);
    EXPECT(packed.readers() == 3 && packed.writers() == 0);
    EXPECT(gate.openRead() == 0 && gate.openWrite() == -1 && gate.closeRead() == 0);
    EXPECT(gate.openWrite() == 0 && gate.openRead() == -1 && gate.closeWrite() == 0);
    {
        const std::shared_lock reading(gate, std::try_to_lock);
        const std::unique_lock writing(gate, std::try_to_lock);
        EXPECT(reading.owns_lock() && !writing.owns_lock());
    }
    gate.forceClose();
}

// --- Named objects

void registry() {
    Vq::NamedObjectsNamespace space("space");
    Plain one, two;
    space.create<Plain>("one", &one);
    EXPECT(space.find<Plain>("one") == &one);
    space.createOrReplace<Plain>("one", &two);
    EXPECT(space.find_(typeid(Plain), "one") == &two);
    EXPECT(space.lock<Plain>("one", true) && space.lock<Plain>("one", false));
    space.unlock<Plain>("one");
    space.unlock<Plain>("one");
    space.remove<Plain>("one");
    const NamedObjectInfo* const info = space.findInfo_(typeid(Plain), "one");
    EXPECT(info != nullptr && info->object_ == nullptr);
    const Plain* const made = space.findOrCreate<Plain>("made");
    int entries = 0;
    space.forEach([&](const char*, const char*, bool) { ++entries; });
    EXPECT(made->value == 1 && entries == 2);
    delete made;
    void* const another = Vq::TypeManip::TemplatedNew<Plain>::new_();
    delete static_cast<Plain*>(another);

    auto* const global = Vq::NamedObjectsNamespace::getGlobalNamespaceInstance();
    EXPECT(global == Vq::NamedObjectsNamespace::getGlobalNamespaceInstance());
    try {
        global->unlock_(typeid(Plain), "never locked");
        EXPECT(false);
    } catch (const Vq::Exception::RuntimeError& failure) {
        EXPECT(failure.line_ == 340);
    }
}

void pools() {
    setFolder(4, "/nowhere/"); // where no log is written
    Vq::PooledObjectDebug::LoggingTraitsBase log("frames");
    log.ltb_beforePop(1);
    log.ltb_afterPop(nullptr, 1);
    EXPECT(log.inUse() == 1 && log.maxInUse() == 1 && log.peakRate() == 0.0);
    log.ltb_beforePush(nullptr, 1);
    log.ltb_afterPush(nullptr, 1);
    EXPECT(log.inUse() == 0);
    log.dump();
}

// --- Records

void records() {
    using namespace Vq::Image;
    const Core::Data core(1, 2, kPlanar, 8, 24, true), read(core.asString()), copy(core);
    EXPECT(core.asString() == "Metadata::Core,1,1,2,7,7,8,24,1,");
    EXPECT(read.getDataFormat() == kPlanar && copy.refCount() == 0);
    const Vq::Ptr<Core::Interface> held = new Core::Data;
    held->setWidth(5);
    EXPECT(held->getWidth() == 5);
    EXPECT(BufferFormat::Data(BufferFormat::Data(false, 1, 2, true).asString()).getStride() == 1);
    EXPECT(Video::Data(ScanMode(1), AspectRatio(2), 3, true).getVideoFormatUID() == 3);
    const VideoSample::Data sample(Polarity(1), Colorimetry(2), GamutScaling(3), true);
    EXPECT(sample.getVideoSampleDataSet());
    EXPECT(VideoSequence::Data(Vq::kFilm, true).getFrameRate() == Vq::kFilm);
    EXPECT(kStartBatch == "StartBatch" && kEndBatch == "EndBatch");
    EXPECT(kMinusOneYearSeconds == -31536000.0);
    EXPECT(Vq::lookupPlayoutFCC(1236) == 1236);
}

// --- Identifiers

static_assert(sizeof(Vq::UUID) == 16 && sizeof(SimpleUUID) == 16);

void identifiers() {
    const Vq::UUID id("00112233-4455-6677-8899-aabbccddeeff"), none(SimpleUUID{});
    Vq::UUID made = Vq::UUID::generate();
    char text[37];
    wchar_t wide[37];
    id.asString(text);
    id.asWString(wide);
    EXPECT(id == Vq::UUID(text) && id == Vq::UUID(wide) && id == Vq::UUID(id.asWString()));
    EXPECT(id.asString() == text && made.valid() && made != id && none < id && !none.valid());
    EXPECT(std::unordered_set<Vq::UUID>({id, made, id}).size() == 2);
    made.invalidate();
    made.initFromString("x", 1);
    EXPECT(!made.valid());
}

// --- Exit callbacks and versions

struct OnExit : iCallbackBase<void, Shutdown::eExitType> {
    int runs = 0;
    void execute(const Shutdown::eExitType& type) override { runs += type; }
};

void exits() {
    const Vq::Ptr<OnExit> callback = new OnExit;
    Shutdown::addCallback(callback, 1);
    Shutdown::addCallback(callback, 2);
    Shutdown::removeCallback(callback);
    Shutdown::addCallback(
        +[](Shutdown::eExitType) {}, 0);
    EXPECT(!Shutdown::isExiting());
    Shutdown::executeCallbacks(Shutdown::kNormalExit);
    EXPECT(callback->runs == 1 && Shutdown::isExiting());

    static int splats = 0;
    addSplatCallback(+[](const char*) { ++splats; });
    callSplatCallbacks("text");
    EXPECT(splats == 1);
}

void versions() {
    EXPECT(std::string_view(vqDllVersionStr()) == "14.5.0.0");
    EXPECT(!Vq::getVersionLabel().empty());
}

} // namespace

void vocabulary() {
    locks();
    gate();
    registry();
    pools();
    records();
    identifiers();
    exits();
    versions();
}
