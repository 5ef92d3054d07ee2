// fuzz-libs: qvncoa_static qvwriter
// fuzz-sources: cli/Csv.cpp
// The mailing-list reader over arbitrary bytes: every record comes back,
// well-formed or with its problem, and the reader always ends.
#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "../cli/Csv.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    int fd = ::memfd_create("csv", 0);
    if (fd < 0) return 0;
    if (::write(fd, data, size) != static_cast<ssize_t>(size)) std::abort();
    ::lseek(fd, 0, SEEK_SET);
    {
        ncoa_cli::CsvReader reader(fd, size > 0 && data[0] == ';' ? ';' : ',');
        ncoa_cli::CsvRecord rec;
        size_t records = 0;
        while (reader.next(rec)) {
            if (++records > size + 1) std::abort();  // each record takes at least one byte
        }
        if (reader.bytesConsumed() != size) std::abort();
    }
    ::close(fd);
    return 0;
}
