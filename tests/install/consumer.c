/* A host found through the installed package: it loads a scene file and
 * renders one frame on whatever device the library finds. */
#include "trevix7.h"
#include "trevix7_scene.h"

#include <stdio.h>

int main(int argc, char** argv)
{
    char error[4096] = "";
    trevix7_scene_settings settings;
    unsigned handle;
    if (argc < 2)
        return 2;
    ApiSetupLibraryDir(PROGRAM_DIR);
    SceneDefaultSettings(&settings);
    settings.width = 16;
    settings.height = 8;
    handle = SceneLoadFile(argv[1], &settings, error);
    if (!handle || ApiLaunch(handle, 1, 1000, error) < 0 || error[0]) {
        printf("failed: %s\n", error);
        return 1;
    }
    ApiDestroyPathTracer(handle, NULL);
    printf("rendered %u x %u\n", settings.width, settings.height);
    return 0;
}
