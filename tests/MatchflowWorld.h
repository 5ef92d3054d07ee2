// The world and records of test_matchflow.cpp, shared by the suites that run
// them on disk, in memory and from several threads.
#pragma once

#include <string>
#include <vector>

namespace matchflow {
struct Rec {
    const char* name;
    const char* pno;
    const char* sno = "";
    const char* desc = "";
    char type = 'S';
    const char* zip9 = "100011234";
};
std::string worldJson();
std::vector<Rec> sampleRecords();
}  // namespace matchflow
