#pragma once
// A program is named by one string, file + "::" + entry function, for example
// "dummy7_chit.cu::__closesthit__dummy".

#include <string>

struct ProgramReference {
    std::string file;
    std::string function;
};

// Splits at the first "::". Valid only when both parts are non-empty; the
// function part may itself contain "::".
inline bool splitProgramReference(const std::string& ref, ProgramReference& out)
{
    const size_t at = ref.find("::");
    if (at == std::string::npos || at == 0 || at + 2 >= ref.size())
        return false;
    out.file = ref.substr(0, at);
    out.function = ref.substr(at + 2);
    return true;
}
