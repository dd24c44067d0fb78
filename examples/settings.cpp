// settings FILE: lists the audio settings of a settings file, changes the sample rate, saves the
// file.

#include "Vq/String.h"
#include "Vq/VqCheck.h"
#include "Vq/VqIniFile.h"

#include <algorithm>
#include <exception>
#include <iostream>

static int fail(const char* path, const char* reason) {
    std::cerr << "settings: " << path << ": " << reason << '\n';
    return 1;
}

static void list(const VqIniFile::Section& section) {
    for (const Vq::AttribValuePair& pair : section) {
        // A comment is a pair without a name.
        if (!pair.name().empty()) std::cout << pair.name() << '=' << pair.value() << '\n';
    }
}

static int changeSampleRate(const char* path) {
    VqIniFile settings(/*caseSensitive*/ true);
    // Letters beyond ASCII go from the ends of lines here: see the limitations in the README.
    if (!settings.load(fromUTF8(path), '\n')) return fail(path, "cannot be read, or is empty");
    VqIniFile::Section& audio = settings["Audio"];
    list(audio);

    const auto rate = std::find_if(audio.begin(), audio.end(),
                                   [](const auto& pair) { return pair.name() == "SampleRate"; });
    if (rate == audio.end()) return fail(path, "no SampleRate in section [Audio]");
    std::cout << "\nSampleRate is " << rate->value() << " and becomes 96000:\n\n";
    *rate = Vq::AttribValuePair("SampleRate", "96000", '=');
    list(audio);

    // An empty path: where it was loaded from.
    return settings.saveAll({}) ? 0 : fail(path, "cannot be written");
}

int main(int argc, char** argv) try {
    if (argc == 2) return changeSampleRate(argv[1]);
    std::cerr << "usage: settings FILE\n";
    return 2;
} catch (const Vq::Exception::Base& failure) { // what the library throws on purpose
    return fail(argv[1], failure.message_);
} catch (const std::exception& failure) { // no memory
    return fail(argv[1], failure.what());
}
