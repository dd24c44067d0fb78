// A library's public header. Each macro is a change from one release to the next.
#pragma once

class Shape {
public:
    virtual ~Shape();
#ifdef REORDERED
    virtual int edges() const;
    virtual int corners() const;
#else
    virtual int corners() const;
    virtual int edges() const;
#endif
#ifdef APPENDED
    virtual int faces() const;
#endif
};

class Point {
public:
    int distance(const Shape& shape) const;

private:
#ifdef LONGER
    long x_ = 0;
#else
    int x_ = 0;
#endif
    int y_ = 0;
};

class Cache;
Cache* makeCache();

int first(const Point& point);
#ifndef REMOVED
int second(const Point& point);
#endif
#ifdef ADDED
int third(const Point& point);
#endif
#ifdef RETYPED
long last(int index);
#else
int last(int index);
#endif
