#include "Vq/CriticalSection.h"

template class Vq::Ptr<CriticalSection::Rep, Vq::DtorTraits, Vq::ExternalRefCountTraits>;
template struct Vq::TypeManip::TemplatedNew<CriticalSection>;

namespace {

// The owner is written by the holder alone, but read by anyone: relaxed atomics are plain moves,
// and a thread that asks about itself reads what it wrote itself.
void setOwner(CriticalSection::Rep& rep, unsigned int thread) {
    __atomic_store_n(&rep.owner_, thread, __ATOMIC_RELAXED);
}

// After the platform lock was acquired.
[[gnu::always_inline]] inline void noteEntry(CriticalSection::Rep& rep) {
    if (rep.lockCount_++ == 0) setOwner(rep, OS()->sync()->currentThreadId());
}

} // namespace

CriticalSection::Rep::Rep(unsigned int tuning)
    : lock_(OS()->sync()->createCriticalSection(tuning)) {}

CriticalSection::Rep::~Rep() = default;

CriticalSection::CriticalSection() : CriticalSection(0u) {}

CriticalSection::CriticalSection(unsigned int tuning) : rep_(new Rep(tuning)) {}

CriticalSection::CriticalSection(const char* name) : CriticalSection(0u) {
    setName(name);
}

CriticalSection::CriticalSection(const CriticalSection& other) = default;
CriticalSection& CriticalSection::operator=(const CriticalSection& other) = default;
CriticalSection::~CriticalSection() = default;

void CriticalSection::init(unsigned int tuning) {
    rep_ = new Rep(tuning);
}

void CriticalSection::setName(const char* name) {
    rep_->name_ = LightweightString<char>(name);
}

LightweightString<char> CriticalSection::name() const {
    return rep_->name_;
}

void CriticalSection::enter() {
    rep_->lock_->acquire();
    noteEntry(*rep_);
}

void CriticalSection::leave() {
    Rep& rep = *rep_;
    if (--rep.lockCount_ == 0) setOwner(rep, 0);
    rep.lock_->release();
}

int CriticalSection::attemptEntry() {
    if (!rep_->lock_->tryAcquire()) return -1;
    noteEntry(*rep_);
    return 0;
}

unsigned int CriticalSection::owner() const {
    return __atomic_load_n(&rep_->owner_, __ATOMIC_RELAXED);
}

void CriticalSection::debugPrint() const {}
