#include "sample.h"

// Not of the header, so nobody's business.
class Cache {
public:
#ifdef INTERNAL
    long entries_ = 0;
#endif
    int size_ = 0;
};
Cache* makeCache() {
    return new Cache;
}

Shape::~Shape() = default;
int Shape::corners() const {
    return 3;
}
int Shape::edges() const {
    return 3;
}
#ifdef APPENDED
int Shape::faces() const {
    return 1;
}
#endif

int Point::distance(const Shape& shape) const {
    return static_cast<int>(x_ + y_ + shape.edges());
}

int first(const Point& point) {
    return point.distance(Shape());
}
#ifndef REMOVED
int second(const Point& point) {
    return point.distance(Shape()) + 1;
}
#endif
#ifdef ADDED
int third(const Point& point) {
    return point.distance(Shape()) + 2;
}
#endif
#ifdef RETYPED
long last(int index) {
    return index;
}
#else
int last(int index) {
    return index;
}
#endif
