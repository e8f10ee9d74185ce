// Feeds the files given on the command line, and every file of the folders
// given (names starting with a dot left out), to the fuzz target it is linked
// with (LLVMFuzzerTestOneInput), as libFuzzer would, so CTest replays the
// regression corpus under the sanitizers. An input that runs longer than the
// watchdog's limit is a hang: its name is printed and the program aborts.
// Fails when a named file is missing or nothing at all was fed, so a wrong
// path cannot pass unnoticed.
#include "FatalReports.h"

#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fstream>
#include <iterator>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize);
extern "C" __attribute__((weak)) int LLVMFuzzerInitialize(int* pArgc, char*** pArgv);

namespace {

// The file itself, or the files of a folder in name order.
std::vector<std::string> FilesIn(const std::string& strDir) {
    std::vector<std::string> files;
    struct stat stArg {};
    if (stat(strDir.c_str(), &stArg) == 0 && S_ISREG(stArg.st_mode))
        return {strDir};
    DIR* pDir = opendir(strDir.c_str());
    if (pDir == nullptr) {
        std::fprintf(stderr, "replay: no file or folder %s\n", strDir.c_str());
        std::exit(1);
    }
    while (const dirent* pEntry = readdir(pDir)) {
        const std::string strPath = strDir + "/" + pEntry->d_name;
        struct stat st {};
        if (pEntry->d_name[0] != '.' && stat(strPath.c_str(), &st) == 0 && S_ISREG(st.st_mode))
            files.push_back(strPath);
    }
    closedir(pDir);
    std::sort(files.begin(), files.end());
    return files;
}

// Aborts the process when one input takes longer than the limit.
class Watchdog {
public:
    explicit Watchdog(int nLimitSec) : m_nLimitSec(nLimitSec), m_thread([this] { Watch(); }) {}
    ~Watchdog() {
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_bQuit = true;
        }
        m_cv.notify_all();
        m_thread.join();
    }
    void Start(const std::string& strInput) {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_strInput = strInput;
        ++m_nSerial;
        m_cv.notify_all();
    }

private:
    void Watch() {
        std::unique_lock<std::mutex> lock(m_mutex);
        while (!m_bQuit) {
            const uint64_t nSerial = m_nSerial;
            const bool bMoved = m_cv.wait_for(lock, std::chrono::seconds(m_nLimitSec),
                                              [&] { return m_bQuit || m_nSerial != nSerial; });
            if (!bMoved && !m_strInput.empty()) {
                std::fprintf(stderr, "replay: %s still runs after %d s: a hang\n", m_strInput.c_str(),
                             m_nLimitSec);
                std::abort();
            }
        }
    }

    const int m_nLimitSec;
    std::mutex m_mutex;
    std::condition_variable m_cv; // guarded by m_mutex
    std::string m_strInput;       // guarded by m_mutex
    uint64_t m_nSerial = 0;       // guarded by m_mutex
    bool m_bQuit = false;         // guarded by m_mutex
    std::thread m_thread;
};

} // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s [--limit SECONDS] FILE|FOLDER...\n", argv[0]);
        return 2;
    }
    RerunWithFatalUbsanReports(argv);
    // The targets wait longer in a replay than while fuzzing (see FuzzMedia.cpp).
    setenv("VELQUIN_FUZZ_REPLAY", "1", 1);
    int nLimitSec = 60;
    std::vector<std::string> dirs; // files and folders
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--limit") == 0 && i + 1 < argc)
            nLimitSec = std::atoi(argv[++i]);
        else
            dirs.push_back(argv[i]);
    }
    if (LLVMFuzzerInitialize)
        LLVMFuzzerInitialize(&argc, &argv);
    Watchdog watchdog(nLimitSec);
    int nInputs = 0;
    for (const std::string& strDir : dirs) {
        for (const std::string& strFile : FilesIn(strDir)) {
            std::ifstream in(strFile, std::ios::binary);
            const std::vector<char> data((std::istreambuf_iterator<char>(in)),
                                         std::istreambuf_iterator<char>());
            std::printf("replay: %s (%zu bytes)\n", strFile.c_str(), data.size());
            std::fflush(stdout);
            watchdog.Start(strFile);
            LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(data.data()), data.size());
            ++nInputs;
        }
    }
    watchdog.Start(std::string());
    if (nInputs == 0) {
        std::fprintf(stderr, "replay: no input\n");
        return 1;
    }
    std::printf("replay: %d inputs, none crashed or hung\n", nInputs);
    return 0;
}
