/// What the program and the library of this folder do wherever they get the chance: a bit of
/// everything that libVq has.
#pragma once

/// Uses the library and prints one timed line, "<where>: use <n>", with the number of uses so far
/// in the process. What does not hold is printed instead. Leaves a line for a pool of the name
/// `where` in the pool log.
void useEverything(const char* where);

/// Does so at the beginning and the end of its life.
class Stage {
public:
    explicit Stage(const char* beginning, const char* end) : end_(end) { useEverything(beginning); }
    ~Stage() { useEverything(end_); }
    Stage(const Stage&) = delete;
    Stage& operator=(const Stage&) = delete;

private:
    const char* end_;
};
