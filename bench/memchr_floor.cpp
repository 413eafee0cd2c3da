// The least any stanza counter can do: read the whole file and find the blank lines with memchr.
// A yardstick for bench/compare-parsers, not part of the app. Single-threaded.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

int main(int argc, char **argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: memchr-floor FILE\n");
        return 1;
    }
    const int fd = open(argv[1], O_RDONLY);
    struct stat info
    {};
    if (fd < 0 || fstat(fd, &info) != 0) {
        std::perror(argv[1]);
        return 1;
    }
    std::vector<char> buffer(size_t(info.st_size) + 1);
    size_t filled = 0;
    while (filled < size_t(info.st_size)) {
        const ssize_t got = read(fd, buffer.data() + filled, size_t(info.st_size) - filled);
        if (got <= 0)
            break;
        filled += size_t(got);
    }
    close(fd);

    // Stanzas are the runs of text between blank lines (LF or CR LF line ends).
    const char *p = buffer.data();
    const char *const end = p + filled;
    long stanzas = 0;
    bool inStanza = false;
    while (p < end) {
        const char *nl = static_cast<const char *>(std::memchr(p, '\n', size_t(end - p)));
        const char *lineEnd = nl ? nl : end;
        const bool blank = lineEnd == p || (lineEnd - p == 1 && *p == '\r');
        if (!blank)
            inStanza = true;
        else if (inStanza) {
            ++stanzas;
            inStanza = false;
        }
        p = lineEnd + 1;
    }
    stanzas += inStanza;
    std::printf("%ld\n", stanzas);
    return 0;
}
