// frame-pool FOLDER: a pool of frames that keeps statistics, and the line that it leaves in the log
// of all pools, somewhere below FOLDER.

#include "OS/LinuxPlatform.h"
#include "Vq/PoolLog.h"

#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

using Frame = std::vector<unsigned char>;

class FramePool {
public:
    Frame take() {
        log_.ltb_beforePop(kBytes);
        Frame frame(unused_.empty() ? Frame(kBytes) : std::move(unused_.back()));
        if (!unused_.empty()) unused_.pop_back();
        log_.ltb_afterPop(frame.data(), kBytes);
        return frame;
    }
    void giveBack(Frame frame) {
        log_.ltb_beforePush(frame.data(), kBytes);
        unused_.push_back(std::move(frame));
        log_.ltb_afterPush(unused_.back().data(), kBytes);
    }
    void report() const {
        std::cout << log_.inUse() << " in use, at most " << log_.maxInUse() << "; "
                  << unused_.size() << " unused\n";
    }

private:
    static constexpr unsigned long kBytes = 1920 * 1080;
    std::vector<Frame> unused_;
    Vq::PooledObjectDebug::LoggingTraitsBase log_{"frames"}; // writes its line when it goes
};

int main(int argc, char** argv) {
    if (argc != 2) return std::cerr << "usage: frame-pool FOLDER\n", 2;
    setFolder(4, argv[1]);
    setApplicationName("Marlin Cut");
    const std::filesystem::path logs = std::filesystem::path(argv[1]) / "Marlin Cut" / "Logs";
    std::filesystem::create_directories(logs); // which the library does not, and then logs nothing
    {
        FramePool pool;
        Frame first = pool.take();
        pool.giveBack(pool.take());
        pool.report();
        pool.giveBack(std::move(first));
        pool.report();
    }
    std::ifstream log(logs / "PooledObjects.log");
    for (std::string line; std::getline(log, line);) {
        if (line.starts_with("frames:")) std::cout << line << '\n';
    }
}
