/// A callable for the shutdown callbacks that notes what becomes of it.
///
///     Notes notes;
///     Shutdown::addCallback(noting(notes, "a"), 5);
///     Shutdown::executeCallbacks(kExit);
///     EXPECT_EQ(notes, (Notes{"a", "~a"}));
///
/// Thread rule: confined.
#pragma once

#include "Vq/Shutdown.h"

#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace vqtest {

using Notes = std::vector<std::string>;

/// Notes its name when it runs, and its name behind a tilde when it is destroyed.
class NotingCallback : public Shutdown::Callback {
public:
    using Action = std::function<void(Shutdown::eExitType)>;

    NotingCallback(Notes& notes, std::string name, Action action)
        : notes_(notes), name_(std::move(name)), action_(std::move(action)) {}
    ~NotingCallback() override { notes_.push_back('~' + name_); }

    void execute(const Shutdown::eExitType& type) override {
        notes_.push_back(name_);
        if (action_) action_(type);
    }

private:
    Notes& notes_;
    std::string name_;
    Action action_;
};

/// A new one, which also does `action` when it runs. `notes` must outlive it.
inline Vq::Ptr<Shutdown::Callback> noting(Notes& notes, std::string name,
                                          NotingCallback::Action action = {}) {
    return new NotingCallback(notes, std::move(name), std::move(action));
}

} // namespace vqtest
