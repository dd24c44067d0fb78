// The handle, on an object that holds its count.

#include "HandleWorkloads.h"

#include "Vq/Ptr.h"

namespace {

struct Frame : iObject {
    int width = 1920;
};

struct Ours {
    using Handle = Vq::Ptr<Frame>;
    static Handle make() { return Handle(new Frame); }
};

const bool added = [] {
    vqbench::addHandleWorkloads<Ours>("ours");
    return true;
}();

} // namespace
