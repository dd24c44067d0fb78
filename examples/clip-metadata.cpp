// clip-metadata FILE: prints the metadata of a proxy of the clip that FILE describes: half as wide
// and as high, and its layout in memory is not known yet.

#include "Vq/ImageMetadata.h"

#include <fstream>
#include <iostream>
#include <string>
#include <string_view>

using namespace Vq::Image;

// The proxy's record for one of the clip.
static LightweightString<char> proxyOf(const LightweightString<char>& line) {
    const std::string_view text = line;
    if (text.starts_with("Metadata::BufferFormat,")) return BufferFormat::Data().asString();
    if (!text.starts_with("Metadata::Core,")) return line;
    Core::Data core(line);
    // A damaged line is no error: it reads as a record that nobody has filled in.
    if (core.getCoreDataSet()) {
        core.setWidth(core.getWidth() / 2);
        core.setHeight(core.getHeight() / 2);
    }
    return core.asString();
}

int main(int argc, char** argv) {
    std::ifstream file(argc == 2 ? argv[1] : "");
    if (!file) {
        std::cerr << "usage: clip-metadata FILE, which has to be there\n";
        return 2;
    }
    for (std::string line; std::getline(file, line);) {
        const LightweightString<char> text = line.c_str();
        std::cout << proxyOf(text) << '\n';
        if (text == kEndBatch) return 0;
    }
    std::cerr << "clip-metadata: " << argv[1] << ": " << kEndBatch << " is missing\n";
    return 1;
}
