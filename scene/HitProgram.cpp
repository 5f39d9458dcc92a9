#include "HitProgram.h"

#include "core/Exception.h"
#include "programs/ProgramFiles.h"
#include "programs/ProgramReference.h"

HitProgram loadHitProgram(const std::string& ref, const char* notValid)
{
    ProgramReference parts;
    if (!splitProgramReference(ref, parts))
        throw sutil::Exception(notValid);
    HitProgram program;
    program.file = parts.file;
    program.function = parts.function;
    getPtxString(program.text, program.file.c_str());
    return program;
}
