#pragma once
// trevix7-render's command line: the options, parsed and checked before
// anything is read or started.

#include <string>
#include <vector>

namespace render {

struct Options {
    std::string scene, output = "out.png", denoise, programs, device = "auto";
    unsigned width = 0, height = 0; // 0: the scene's
    unsigned frames = 0;            // 0: the scene's, or unlimited under a time budget
    double seconds = 0;             // a time budget; 0: none
    unsigned bits = 8;
    int camera = -1; // a glTF file's camera; -1: its first
    std::vector<unsigned> devices;
    std::vector<std::string> aovs;
    bool exr = false, display = false, check = false, quiet = false;

    bool wants(const char* aov) const;
};

// Parses the command line into `o`. Gives -1 to go on, or the exit status
// (0 after --help or --version, 2 for bad options, having said why).
int parse(int argc, char** argv, Options& o);

// "WIDTHxHEIGHT" as two whole numbers above 0, and nothing else.
bool parseSize(const std::string& text, unsigned& width, unsigned& height);

} // namespace render
