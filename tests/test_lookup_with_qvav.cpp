// qvncoa_lookup_with_qvav: the address goes through the verifier, whose record
// the answer keeps, and the lookup that follows answers exactly as the lookup
// of the same address given already split and coded.
#include <gtest/gtest.h>

#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "DataSetWriter.h"
#include "Synth.h"
#include "qvav.h"
#include "TestSupport.h"
#include "qvncoa.h"

namespace fs = std::filesystem;

namespace {

const char* addrRecord(const qvncoa_out_addr_t& out) {
    const char* addr = nullptr;
    std::memcpy(&addr, static_cast<const char*>(out.avRecord) + QVAV_MAIN_ADDRESS, sizeof addr);
    return addr;
}

class LookupWithQvav : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        root_ = fs::temp_directory_path() / ("qv-with-qvav-" + std::to_string(::getpid()));
        qvw::SynthOptions o;
        o.filings = 2000;
        o.seed = 21;
        o.nameListDir = QV_SOURCE_DIR "/data/namekb";
        gen_ = new qvw::SynthGenerator(o);
        qvw::DataSetWriter(gen_->world(), root_.string()).write();
        rows_ = gen_->makeList(400, 0.4, 21);
    }
    static void TearDownTestSuite() {
        delete gen_;
        fs::remove_all(root_);
    }

    void SetUp() override {
        char err[QVNCOA_ERROR_TEXT_SIZE] = {};
        ASSERT_NE(obj_ = openDataObj(root_.string()), nullptr);
        ASSERT_EQ(qvav_open(&av_, root_.string().c_str(), err), 0) << err;
    }
    void TearDown() override {
        qvav_close(&av_);
        qvncoa_destroy_data_obj(&obj_);
    }

    static fs::path root_;
    static qvw::SynthGenerator* gen_;
    static std::vector<qvw::SynthListRecord> rows_;
    void* obj_ = nullptr;
    qvav_context* av_ = nullptr;
};
fs::path LookupWithQvav::root_;
qvw::SynthGenerator* LookupWithQvav::gen_ = nullptr;
std::vector<qvw::SynthListRecord> LookupWithQvav::rows_;

TEST_F(LookupWithQvav, ArgumentsAreTestedBeforeAnythingIsTouched) {
    const char* record[3] = {"JOHN SMITH", "1200 OAK ST", "SPRINGFIELD, IL 62701"};
    qvncoa_out_addr_t out;
    std::memset(&out, 0x5A, sizeof out);
    const qvncoa_out_addr_t before = out;
    // The object is tested first, then output, input and verifier alike.
    EXPECT_EQ(qvncoa_lookup_with_qvav(nullptr, nullptr, nullptr, nullptr, 0, 0, nullptr, 0), QVNCOA_ERR_NULL_OBJECT);
    EXPECT_EQ(qvncoa_lookup_with_qvav(nullptr, av_, record, &out, 0, 0, nullptr, 0), QVNCOA_ERR_NULL_OBJECT);
    EXPECT_EQ(qvncoa_lookup_with_qvav(obj_, av_, record, nullptr, 0, 0, nullptr, 0), QVNCOA_ERR_ARGUMENT);
    EXPECT_EQ(qvncoa_lookup_with_qvav(obj_, av_, nullptr, &out, 0, 0, nullptr, 0), QVNCOA_ERR_ARGUMENT);
    EXPECT_EQ(qvncoa_lookup_with_qvav(obj_, nullptr, record, &out, 0, 0, nullptr, 0), QVNCOA_ERR_ARGUMENT);
    EXPECT_EQ(std::memcmp(&out, &before, sizeof out), 0);
}

// The verifier answers an address with nothing to read with status 0 and its
// codes: the lookup goes on with the blank record ("00"), and the record the
// answer keeps is the verifier's, with its codes.
TEST_F(LookupWithQvav, NothingToReadIsAnsweredAndItsVerifierRecordKept) {
    const char* record[3] = {"JOHN SMITH", nullptr, nullptr};
    qvncoa_out_addr_t out;
    std::memset(&out, 0x5A, sizeof out);
    char err[QVNCOA_ERROR_TEXT_SIZE] = "untouched";
    ASSERT_EQ(qvncoa_lookup_with_qvav(obj_, av_, record, &out, 0, 12, err, 0), QVNCOA_OK);
    EXPECT_STREQ(err, "untouched");
    EXPECT_STREQ(out.returnCode, "00");
    EXPECT_STREQ(out.inputName, "JOHN SMITH");
    EXPECT_EQ(out.moveTooOld, 0);
    ASSERT_NE(out.avRecord, nullptr);
    EXPECT_STREQ(addrRecord(out) + QVAV_ADDR_RESULT1, "20");
    EXPECT_STREQ(addrRecord(out) + QVAV_ADDR_RESULT2, "21");
}

// Every row of a synthetic list, written as people write addresses, gets the
// answer that its split, coded address gets, byte for byte; the verifier's
// record stays in the answer and holds the address it coded.
TEST_F(LookupWithQvav, AnswersAsTheLookupOfTheSplitAddress) {
    std::size_t moves = 0;
    for (const qvw::SynthListRecord& row : rows_) {
        std::string line, last;
        qvw::SynthGenerator::freeFormAddress(row, line, last);
        const std::string name = row.name.empty() ? row.company : row.name;
        const char* record[3] = {name.c_str(), line.c_str(), last.c_str()};
        qvncoa_out_addr_t with, without;
        std::memset(&with, 0x5A, sizeof with);  // cleared by the call
        std::memset(&without, 0, sizeof without);
        char err[QVNCOA_ERROR_TEXT_SIZE] = {};
        const int rc = qvncoa_lookup_with_qvav(obj_, av_, record, &with, eBIF_All, 0, err, 0);
        ASSERT_TRUE(rc == QVNCOA_OK || rc == QVNCOA_OK_MOVE_TOO_OLD) << rc << " " << err;
        ASSERT_NE(with.avRecord, nullptr);
        const char* addr = addrRecord(with);
        EXPECT_STREQ(addr + QVAV_ADDR_ZIP, row.zip.c_str()) << line << " / " << last;
        EXPECT_STREQ(addr + QVAV_ADDR_ZIP4, row.zip4.c_str()) << line << " / " << last;
        EXPECT_STREQ(addr + QVAV_ADDR_PRIMARY, row.primary.c_str()) << line;
        EXPECT_EQ(addr[QVAV_ADDR_RECORD_TYPE], row.recordType) << line;

        const std::string zip9 = row.zip + row.zip4;
        const qvncoa_in_addr_t in = {name.c_str(), row.primary.c_str(), row.secondary.c_str(), zip9.c_str(),
                                     row.designator.c_str(), row.recordType};
        ASSERT_EQ(qvncoa_lookup_without_qvav(obj_, &in, &without, eBIF_All, 0, err, 0), rc) << err;
        with.avRecord = nullptr;
        EXPECT_EQ(std::memcmp(&with, &without, sizeof with), 0)
            << line << " / " << last << ": " << with.returnCode << " against " << without.returnCode;
        moves += with.returnCode[0] == 'A';
    }
    EXPECT_GT(moves, rows_.size() / 5);  // the list holds moves, not only misses
}

}  // namespace
