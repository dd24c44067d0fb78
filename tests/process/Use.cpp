#include "Use.h"

#include "Vq/CriticalSection.h"
#include "Vq/ImageMetadata.h"
#include "Vq/PoolLog.h"
#include "Vq/Ptr.h"
#include "Vq/Shutdown.h"
#include "Vq/String.h"
#include "Vq/StringSplit.h"
#include "Vq/System.h"
#include "Vq/UUID.h"
#include "Vq/Version.h"
#include "Vq/VqCheck.h"
#include "Vq/VqNamedObjects.h"

#include <mutex>

namespace {

using Narrow = LightweightString<char>;
using Wide = LightweightString<wchar_t>;

struct Object : iObject {};

class NoCallback : public Shutdown::Callback {
public:
    void execute(const Shutdown::eExitType& /*type*/) override {}
};

bool usesNarrowText() {
    Narrow text("Narrow ");
    text += 1.5;
    const Narrow shared = text;
    toUpper(text);
    return shared == "Narrow 1.500000" && text == "NARROW 1.500000" && shared.useCount() == 1;
}

bool usesWideText() {
    Wide text = Vq::WStringFromAscii("wide");
    text += L" \u20AC";
    return toUTF8(text) == "wide \xE2\x82\xAC" && fromUTF8("wide \xE2\x82\xAC") == text;
}

bool usesHandles() {
    const Vq::Ptr<Object> object = new Object;
    const Vq::Ptr<iObject> copy = object;
    return object.useCount() == 2 && copy == object;
}

bool usesLocks() {
    CriticalSection guard;
    const std::scoped_lock hold(guard);
    return guard.owner() == OS()->sync()->currentThreadId();
}

bool usesIdentifiers() {
    const Vq::UUID id = Vq::UUID::generate();
    return id.valid() && Vq::UUID(id.asString()) == id && Vq::UUID(id.asWString()) == id;
}

bool usesConstants() {
    return Vq::Image::kStartBatch == "StartBatch" && Vq::Image::kEndBatch == "EndBatch" &&
           Vq::Image::kMinusOneYearSeconds == -31536000.0 &&
           Narrow(vqDllVersionStr()) == "14.5.0.0" && !Vq::getVersionLabel().empty();
}

bool usesCallbacks() {
    const Vq::Ptr<Shutdown::Callback> callback = new NoCallback;
    Shutdown::addCallback(callback, 3);
    const bool isShared = callback.useCount() == 2;
    Shutdown::removeCallback(callback);
    return isShared && callback.useCount() == 1;
}

bool usesExceptions() {
    auto& names = *Vq::NamedObjectsNamespace::getGlobalNamespaceInstance();
    try {
        names.remove<int>(nullptr);
    } catch (const Vq::Exception::Base& error) {
        return Narrow(error.message_) == "Invalid object name!";
    }
    return false;
}

bool usesQueries() {
    return Vq::now() > 0.0 && Vq::CPUInfo::getNumProcessors() > 0 &&
           Vq::CRC::CalculateCRC32ForBlock("\x80", 1) == 1;
}

/// The program and its libraries count under one name.
int numberOfUse() {
    auto& names = *Vq::NamedObjectsNamespace::getGlobalNamespaceInstance();
    names.lock<int>("uses", true);
    const int number = ++*names.findOrCreate<int>("uses");
    names.unlock<int>("uses");
    return number;
}

} // namespace

void useEverything(const char* where) {
    struct {
        const char* what;
        bool (*uses)();
    } const all[] = {
        {"narrow text", usesNarrowText},  {"wide text", usesWideText},
        {"handles", usesHandles},         {"locks", usesLocks},
        {"identifiers", usesIdentifiers}, {"constants", usesConstants},
        {"callbacks", usesCallbacks},     {"exceptions", usesExceptions},
        {"queries", usesQueries},
    };
    for (const auto& one : all) {
        if (!one.uses()) Vq::LogTimed("%s: %s FAILED\n", where, one.what);
    }
    Vq::PooledObjectDebug::LoggingTraitsBase log(where);
    log.ltb_afterPop(nullptr, 0);
    callSplatCallbacks(where);
    Vq::LogTimed("%s: use %d\n", where, numberOfUse());
}
