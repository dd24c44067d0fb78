// exit-callbacks: what parts of an application want done when it ends, in the order that they need.

#include "Vq/Shutdown.h"

#include <iostream>

// The kinds of exit are the application's own.
namespace Shutdown {
enum eExitType : int { kNormalExit, kLogOff };
}

static void closeDevices(Shutdown::eExitType) {
    std::cout << "1: devices are closed\n";
}

static void flushLog(Shutdown::eExitType) {
    std::cout << "9: the log is flushed\n";
}

// A callback that is an object can hold something, and be taken back.
class SaveProject : public Shutdown::Callback {
public:
    explicit SaveProject(const char* name) : name_(name) {}

    void execute(const Shutdown::eExitType& type) override {
        std::cout << "5: " << name_ << " is saved"
                  << (type == Shutdown::kLogOff ? " in a hurry\n" : "\n");
        // Runs in this pass, behind all that waits with the same priority.
        Shutdown::addCallback(
            +[](Shutdown::eExitType) { std::cout << "5: projects are closed\n"; }, 5);
    }

private:
    const char* name_;
};

int main() {
    const Vq::Ptr<Shutdown::Callback> abandoned = new SaveProject("Untitled");
    Shutdown::addCallback(flushLog, 9);
    Shutdown::addCallback(abandoned, 5);
    Shutdown::addCallback(Vq::Ptr<Shutdown::Callback>(new SaveProject("Harbour")), 5);
    Shutdown::addCallback(closeDevices, 1);
    Shutdown::removeCallback(abandoned);

    std::cout << "exiting: " << std::boolalpha << Shutdown::isExiting() << '\n';
    Shutdown::executeCallbacks(Shutdown::kLogOff);
    std::cout << "exiting: " << Shutdown::isExiting() << '\n';
    Shutdown::executeCallbacks(Shutdown::kLogOff); // each ran once and is forgotten
}
