// Helper of TestPlayerConfigFile: writes two large records in turn to the path given
// on the command line, for ever, and says on stdout before each write that it is
// writing. The test kills it with SIGKILL at some point and checks that the file
// is still whole.
#include "CPlayerConfigFile.h"
#include "ConfigSamples.h"

#include <cstdio>

int main(int argc, char** argv) {
    if (argc != 2)
        return 2;
    const QString strPath = QString::fromLocal8Bit(argv[1]);
    PlayerConfig records[2] = {ConfigSamples::MakeFull(0), ConfigSamples::MakeFull(1)};
    CPlayerConfigFile store;
    for (unsigned n = 0;; ++n) {
        std::printf("writing %u\n", n);
        std::fflush(stdout);
        if (!store.WritePlayerConfig(strPath, &records[n % 2])) {
            std::printf("failed\n");
            return 1;
        }
    }
}
