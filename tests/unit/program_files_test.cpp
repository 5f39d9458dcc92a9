// Finding, loading and caching program files, with real files in a temporary
// directory that is also the working directory (for the "./cuda/" paths).

#include "programs/ProgramFiles.h"
#include "core/Exception.h"
#include "core/Params.h"
#include "support.h"

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <regex>
#include <sstream>

namespace {

class ProgramFiles : public testing::Test {
protected:
    void SetUp() override
    {
        char pattern[] = "/tmp/trevix7_programs_XXXXXX";
        ASSERT_NE(mkdtemp(pattern), nullptr);
        m_root = pattern;
        ASSERT_EQ(chdir(m_root.c_str()), 0);
        lib_dir.clear();
        gpu_architecture = "auto";
    }
    void TearDown() override
    {
        ASSERT_EQ(chdir("/"), 0);
        ASSERT_EQ(std::system(("rm -rf " + m_root).c_str()), 0);
        lib_dir.clear();
        gpu_architecture = "auto";
    }
    // Writes `text` to root/relative, creating directories on the way.
    void write(const std::string& relative, const std::string& text)
    {
        std::string path = m_root + "/" + relative;
        ASSERT_EQ(std::system(("mkdir -p $(dirname " + path + ")").c_str()), 0);
        std::ofstream(path, std::ios::binary) << text;
    }
    static std::string load(const char* name)
    {
        std::string text;
        getPtxString(text, name);
        return text;
    }
    static std::string failure(const char* name)
    {
        return t7test::failure([&] { load(name); });
    }
    std::string m_root;
};

TEST_F(ProgramFiles, IrIsPreferredToPtxWhateverExtensionIsAsked)
{
    write("cuda/x.ir", "ir text");
    write("cuda/x.ptx", "ptx text");
    EXPECT_EQ(load("x.cu"), "ir text");
    EXPECT_EQ(load("x.ptx"), "ir text");
    write("cuda/only.ptx", std::string("ptx\0with nul", 12));
    EXPECT_EQ(load("only.cu"), std::string("ptx\0with nul", 12)); // read byte for byte
}

TEST_F(ProgramFiles, CandidatesAreSearchedInOrder)
{
    lib_dir = "/opt/r";
    gpu_architecture = "sm_75";
    EXPECT_EQ(programSearchPaths("x.ir"),
              (std::vector<std::string>{"/opt/r/cuda/sm_75/x.ir", "/opt/r/cuda/x.ir",
                                        "./cuda/sm_75/x.ir", "./cuda/x.ir"}));
    lib_dir.clear();
    EXPECT_EQ(programSearchPaths("x.ptx"),
              (std::vector<std::string>{"./cuda/sm_75/x.ptx", "./cuda/x.ptx"}));

    // With files at every place, each request (a new cache key) takes the
    // first candidate that still exists.
    lib_dir = m_root + "/lib";
    write("lib/cuda/sm_75/p.ptx", "1");
    write("lib/cuda/p.ptx", "2");
    write("cuda/sm_75/p.ptx", "3");
    write("cuda/p.ptx", "4");
    EXPECT_EQ(load("p.a"), "1");
    unlink((m_root + "/lib/cuda/sm_75/p.ptx").c_str());
    EXPECT_EQ(load("p.b"), "2");
    unlink((m_root + "/lib/cuda/p.ptx").c_str());
    EXPECT_EQ(load("p.c"), "3");
    unlink((m_root + "/cuda/sm_75/p.ptx").c_str());
    EXPECT_EQ(load("p.d"), "4");

    std::string text = "kept", location = "kept";
    EXPECT_FALSE(getStringFromFile(text, location, "absent.ptx"));
    EXPECT_EQ(text + location, "keptkept") << "nothing is filled in on failure";
}

TEST_F(ProgramFiles, NamesWithoutUsableDotFail)
{
    write("cuda/prog.ptx", "prog");
    write("cuda/dir.ptx", "dir");
    EXPECT_EQ(failure("prog"),
              "ERROR: PathTracer(361): Need .ir, .ptx or .cu source file (prog).");
    // The last dot is in the directory part: dir.ir, then dir.ptx are looked for.
    EXPECT_EQ(load("dir.v2/prog"), "dir");
    EXPECT_EQ(failure("missing.cu"),
              "ERROR: PathTracer(361): Need .ir, .ptx or .cu source file (missing.cu).");
    // A failure is not cached: the file is found once it exists.
    write("cuda/missing.ptx", "now here");
    EXPECT_EQ(load("missing.cu"), "now here");
}

TEST_F(ProgramFiles, ASuccessIsNeverRefreshedButAnotherSpellingRereads)
{
    write("cuda/c.ptx", "old");
    const char* log = "unchanged";
    std::string text;
    getPtxString(text, "c.ptx", &log);
    EXPECT_TRUE(text == "old" && log == nullptr);
    write("cuda/c.ptx", "new");
    EXPECT_TRUE(load("c.ptx") == "old" && load("c.cu") == "new" &&
                g_ptxSourceCache.map.count("c.ptx;") == 1u &&
                g_ptxSourceCache.map.count("c.cu;") == 1u);
}

TEST_F(ProgramFiles, CompileToPtxLoadsAheadAndReports)
{
    write("cuda/pre.ptx", "pre");
    char message[256] = "stale";
    EXPECT_EQ(ApiCompileToPtx("pre.cu", message), 0);
    EXPECT_STREQ(message, "");
    EXPECT_EQ(g_ptxSourceCache.map.count("pre.cu;"), 1u);

    EXPECT_EQ(ApiCompileToPtx("nothing.cu", message), 1);
    EXPECT_STREQ(message, "ERROR: PathTracer(361): Need .ir, .ptx or .cu source file (nothing.cu).");
    EXPECT_EQ(ApiCompileToPtx("nothing.cu", nullptr), 1);
}

TEST_F(ProgramFiles, SettingsAreTakenAsGiven)
{
    char arch[64] = "";
    ApiGpuArchitectureCfg(arch);
    EXPECT_STREQ(arch, "auto");
    ApiSetupGpuArchitecture("sm_90");
    ApiGpuArchitectureCfg(arch);
    EXPECT_STREQ(arch, "sm_90");
    ApiGpuArchitectureCfg(nullptr);
    ApiSetupLibraryDir("/opt/lib/");
    EXPECT_EQ(programSearchPaths("a.ptx").front(), "/opt/lib//cuda/sm_90/a.ptx");
    size_t before = include_dirs.size();
    ApiSetupIncludeDir("/inc");
    ASSERT_EQ(include_dirs.size(), before + 1);
    EXPECT_EQ(include_dirs.back(), "-I/inc");
}

TEST_F(ProgramFiles, DirectoryHelpers)
{
    EXPECT_TRUE(dirExists(m_root.c_str()));
    std::string made = m_root + "/made";
    EXPECT_FALSE(dirExists(made.c_str()));
    createDirectory(made.c_str());
    EXPECT_TRUE(dirExists(made.c_str()));
    createDirectory(made.c_str()); // already there: nothing to do
    write("file", "x");
    std::string file = m_root + "/file";
    EXPECT_FALSE(dirExists(file.c_str()));
    EXPECT_EQ(t7test::failure([&] { createDirectory(file.c_str()); }),
              "20: cannot create directory " + file);
    const std::string deep = m_root + "/no/such/dir";
    EXPECT_EQ(t7test::failure([&] { createDirectory(deep.c_str()); }),
              "2: cannot create directory " + deep);
}

TEST(RemoveExtension, StripsOnlyProgramExtensionsOfLongerNames)
{
    const std::pair<const char*, const char*> cases[] = {
        {"a.cu", "a"}, {"a.ir", "a"}, {"a.ptx", "a"}, {".cu", ".cu"}, {".ptx", ".ptx"},
        {"a.txt", "a.txt"}, {"dir.v2/prog.cu", "dir.v2/prog"}};
    for (const auto& c : cases)
        EXPECT_EQ(removeExtension(c.first), c.second);
}

// Every module of ours that uses the launch parameters defines them, as a
// visible constant of exactly sizeof(Params) bytes: OptiX hands the launch
// parameters only to modules that define "params".
TEST(OurPrograms, DefineTheLaunchParametersWithTheirSize)
{
    const std::string dir = TREVIX7_BUILD_DIR "/cuda";
    DIR* d = opendir(dir.c_str());
    ASSERT_NE(d, nullptr) << dir;
    const std::regex declaration(R"(\n(\.\w+) \.const \.align \d+ \.b8 params\[(\d+)\];)");
    int modules = 0, users = 0;
    while (const dirent* entry = readdir(d)) {
        const std::string name = entry->d_name;
        if (name.size() < 4 || name.compare(name.size() - 4, 4, ".ptx") != 0)
            continue;
        std::stringstream text;
        text << std::ifstream(dir + "/" + name).rdbuf();
        const std::string ptx = text.str();
        ++modules;
        if (ptx.find("params") == std::string::npos)
            continue;
        ++users;
        std::smatch m;
        ASSERT_TRUE(std::regex_search(ptx, m, declaration)) << name << " names params without declaring it";
        EXPECT_EQ(m[1].str(), ".visible") << name;
        EXPECT_EQ(std::stoul(m[2].str()), sizeof(Params)) << name;
    }
    closedir(d);
    EXPECT_EQ(modules, 8);
    EXPECT_EQ(users, 5); // both cameras, miss, hit and intersection
}

} // namespace
