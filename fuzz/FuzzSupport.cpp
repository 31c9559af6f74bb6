#include "FuzzSupport.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ftw.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{
std::string g_Root;

int RemoveEntry(const char* path, const struct stat*, int, struct FTW*)
{
    return remove(path);
}

void RemoveRoot()
{
    if (!g_Root.empty())
        nftw(g_Root.c_str(), RemoveEntry, 16, FTW_DEPTH | FTW_PHYS);
}

void MakeParents(const std::string& path)
{
    for (size_t slash = path.find('/', 1); slash != std::string::npos; slash = path.find('/', slash + 1))
        mkdir(path.substr(0, slash).c_str(), 0700);
}
} // namespace

// Read by the sanitizer runtime before main: the suppression file travels with the targets, so a
// target run by hand behaves like one run by scripts/fuzz. UBSAN_OPTIONS given on the command
// line still win.
extern "C" const char* __ubsan_default_options()
{
    return "halt_on_error=1:print_stacktrace=1:suppressions=" HOSTCAPTURE_FUZZ_DIR "/ubsan.supp";
}

namespace FuzzSupport
{
const std::string& PrivateSysRoot()
{
    if (g_Root.empty())
    {
        // In memory where the machine has it: the file-backed targets write their input to a
        // file on every run.
        char pattern[] = "/dev/shm/hcfuzz.XXXXXX";
        char fallback[] = "/tmp/hcfuzz.XXXXXX";
        char* made = mkdtemp(pattern);
        if (made == nullptr)
            made = mkdtemp(fallback);
        if (made == nullptr)
        {
            perror("mkdtemp");
            abort();
        }
        g_Root = made;
        setenv("HOSTCAPTURE_SYSROOT", g_Root.c_str(), 1);
        atexit(RemoveRoot);
    }
    return g_Root;
}

void WriteFile(const std::string& path, const std::string& bytes)
{
    MakeParents(path);
    FILE* file = fopen(path.c_str(), "wb");
    if (file == nullptr || fwrite(bytes.data(), 1, bytes.size(), file) != bytes.size() || fclose(file) != 0)
    {
        perror(path.c_str());
        abort();
    }
}

std::vector<std::string> SplitParts(const uint8_t* data, size_t size, size_t maxParts)
{
    static const char kMarker[] = "\n@@\n";
    const std::string text(reinterpret_cast<const char*>(data), size);
    std::vector<std::string> parts;
    size_t start = 0;
    while (parts.size() + 1 < maxParts)
    {
        size_t marker = text.find(kMarker, start);
        if (marker == std::string::npos)
            break;
        parts.push_back(text.substr(start, marker - start));
        start = marker + strlen(kMarker);
    }
    parts.push_back(text.substr(start));
    parts.resize(maxParts);
    return parts;
}
} // namespace FuzzSupport

void FuzzSupport::QueueOnSocket(const uint8_t* data, size_t size, int fds[2])
{
    if (socketpair(AF_UNIX, SOCK_STREAM, 0, fds) != 0)
        abort();
    // Room for every input the targets accept, so that queuing never blocks.
    const int bufferSize = 512 * 1024;
    setsockopt(fds[1], SOL_SOCKET, SO_SNDBUF, &bufferSize, sizeof bufferSize);
    setsockopt(fds[0], SOL_SOCKET, SO_RCVBUF, &bufferSize, sizeof bufferSize);
    size_t written = 0;
    while (written < size)
    {
        const ssize_t count = send(fds[1], data + written, size - written, MSG_DONTWAIT | MSG_NOSIGNAL);
        if (count <= 0)
            abort();
        written += static_cast<size_t>(count);
    }
    shutdown(fds[1], SHUT_WR);
}
