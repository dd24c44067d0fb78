// Handles that a user would pick instead. Their bounds stand in StringBench.cpp, with those of the
// strings, which count alike.

#include "HandleWorkloads.h"

#include <memory>

#ifdef VQ_PEER_BOOST
#include <boost/smart_ptr/intrusive_ptr.hpp>
#include <boost/smart_ptr/intrusive_ref_counter.hpp>
#endif
#ifdef VQ_PEER_QT
#include <QExplicitlySharedDataPointer>
#endif

namespace {

struct Frame {
    int width = 1920;
};

struct Std {
    using Handle = std::shared_ptr<Frame>;
    static Handle make() { return std::make_shared<Frame>(); }
};

#ifdef VQ_PEER_BOOST
struct Boost {
    struct Counted : Frame, boost::intrusive_ref_counter<Counted, boost::thread_safe_counter> {};
    using Handle = boost::intrusive_ptr<Counted>;
    static Handle make() { return Handle(new Counted); }
};
#endif

#ifdef VQ_PEER_QT
struct Qt {
    struct Shared : Frame, QSharedData {};
    using Handle = QExplicitlySharedDataPointer<Shared>;
    static Handle make() { return Handle(new Shared); }
};
#endif

const bool added = [] {
    vqbench::addHandleWorkloads<Std>("std");
#ifdef VQ_PEER_BOOST
    vqbench::addHandleWorkloads<Boost>("boost");
#endif
#ifdef VQ_PEER_QT
    vqbench::addHandleWorkloads<Qt>("qt");
#endif
    return true;
}();

} // namespace
