// vq, the library's command-line tool.

#include "CommandLine.h"
#include "Report.h"

#include "Vq/VqCheck.h"

#include <exception>

int main(int argc, char** argv) {
    try {
        return vqtool::CommandLine(argc).run(argc, argv);
    } catch (const Vq::Exception::Base& failure) {
        return vqtool::complain("error", failure.message_);
    } catch (const std::exception& failure) {
        return vqtool::complain("error", failure.what());
    }
}
