// Shared by the fuzz targets: the sample data set, written once per process
// from the sample world and removed when the process ends.
#pragma once

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "DataSetWriter.h"
#include "World.h"

namespace qvfuzz {

inline std::string& rootSlot() {
    static std::string root;
    return root;
}

inline const std::string& sampleSet(qvw::DataSetKind kind = qvw::DataSetKind::Hash) {
    std::string& root = rootSlot();
    if (root.empty()) {
        root = (std::filesystem::temp_directory_path() / ("qv-fuzz-" + std::to_string(::getpid()))).string();
        std::filesystem::remove_all(root);
        qvw::DataSetWriter(qvw::loadWorld(QV_SOURCE_DIR "/data/sample/world.json"), root, kind).write();
        std::atexit([] { std::filesystem::remove_all(rootSlot()); });
    }
    return root;
}

inline void writeFile(const std::string& path, const uint8_t* data, size_t size) {
    std::ofstream(path, std::ios::binary | std::ios::trunc).write(reinterpret_cast<const char*>(data),
                                                                 static_cast<std::streamsize>(size));
}

}  // namespace qvfuzz
