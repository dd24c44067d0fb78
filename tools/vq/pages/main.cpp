// vq_pages FOLDER: writes the tool's man page and its completions for the shells into FOLDER.

#include "CommandLine.h"
#include "Definitions.h"
#include "Pages.h"

#include <fstream>
#include <iostream>
#include <string>

namespace {

bool write(const std::string& path, const std::string& text) {
    std::ofstream file(path, std::ios::binary);
    file << text;
    file.close();
    if (!file) std::cerr << "vq_pages: " << path << ": could not be written\n";
    return file.good();
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: vq_pages FOLDER\n";
        return 2;
    }
    const std::string folder = std::string(argv[1]) + "/";
    const vqtool::CommandLine commandLine(argc);
    const vqtool::Command tool = vqtool::describe(commandLine.definitions());
    const bool isDone = write(folder + "vq.1", vqtool::manPage(tool, VQ_VERSION, VQ_BUILD_DATE)) &&
                        write(folder + "vq.bash", vqtool::bashCompletion(tool)) &&
                        write(folder + "_vq", vqtool::zshCompletion(tool));
    return isDone ? 0 : 1;
}
