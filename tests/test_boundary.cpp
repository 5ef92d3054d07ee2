// The exported functions' argument tests and the exception boundary.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "NCOA.h"
#include "NCOA_Utils.h"
#include "qvncoa.h"

namespace {

const char* kNoSuchRoot = "/nonexistent/ncoa-data-root";

qvncoa_in_addr_t someInput() { return qvncoa_in_addr_t{"JOHN SMITH", "123", "", "123456789", "", ' '}; }

}  // namespace

TEST(Boundary, NullAndEmptyArgumentsGetTheirCodes) {
    char err[QVNCOA_ERROR_TEXT_SIZE] = "untouched";
    EXPECT_EQ(qvncoa_init_data_obj(nullptr, "/d", "/k", "", 2, nullptr, err, 0), QVNCOA_ERR_ARGUMENT);
    void* obj = reinterpret_cast<void*>(0x1);
    EXPECT_EQ(qvncoa_init_data_obj(&obj, nullptr, "/k", "", 2, nullptr, err, 0), QVNCOA_ERR_ARGUMENT);
    EXPECT_EQ(obj, nullptr);  // nulled before the tests of the other arguments
    EXPECT_EQ(qvncoa_init_data_obj(&obj, "", "/k", "", 2, nullptr, err, 0), QVNCOA_ERR_ARGUMENT);
    EXPECT_EQ(qvncoa_init_data_obj(&obj, "/d", nullptr, "", 2, nullptr, err, 0), QVNCOA_ERR_ARGUMENT);
    EXPECT_EQ(qvncoa_init_data_obj(&obj, "/d", "", "", 2, nullptr, err, 0), QVNCOA_ERR_ARGUMENT);
    EXPECT_STREQ(err, "untouched");

    qvncoa_out_addr_t out;
    qvncoa_in_addr_t in = someInput();
    // The object is tested first, then output and input.
    EXPECT_EQ(qvncoa_lookup_without_qvav(nullptr, nullptr, nullptr, 0, 0, nullptr, 0), QVNCOA_ERR_NULL_OBJECT);
    int dummy = 0;
    EXPECT_EQ(qvncoa_lookup_without_qvav(&dummy, &in, nullptr, 0, 0, nullptr, 0), QVNCOA_ERR_ARGUMENT);
    EXPECT_EQ(qvncoa_lookup_without_qvav(&dummy, nullptr, &out, 0, 0, nullptr, 0), QVNCOA_ERR_ARGUMENT);

    qvncoa_release_info_t info;
    EXPECT_EQ(qvncoa_getNCOAReleaseInfo(nullptr, &info), QVNCOA_ERR_NULL_OBJECT);
    EXPECT_EQ(qvncoa_getNCOAReleaseInfo(&dummy, nullptr), QVNCOA_ERR_ARGUMENT);

    qvncoa_destroy_data_obj(nullptr);
    void* none = nullptr;
    qvncoa_destroy_data_obj(&none);
    EXPECT_EQ(none, nullptr);
}

TEST(Boundary, FailedStartUpLeavesTheObjectForTheCallerToDestroy) {
    void* obj = nullptr;
    char err[QVNCOA_ERROR_TEXT_SIZE];
    int rc = qvncoa_init_data_obj(&obj, kNoSuchRoot, "/k", "", 2, nullptr, err, 0);
    EXPECT_EQ(rc, QVNCOA_ERR_FILE_OPEN);
    EXPECT_EQ(std::string(err), std::string(kNoSuchRoot) + "/DVD 1/dvdhdr01.dat");
    ASSERT_NE(obj, nullptr);
    qvncoa_destroy_data_obj(&obj);  // frees everything: the sanitizer build checks
    EXPECT_EQ(obj, nullptr);
}

TEST(Boundary, ExceptionTextIsCutAt1023AndANullBufferIsLeftAlone) {
    std::string root(2000, 'r');
    root = "/" + root;
    void* obj = nullptr;
    char err[QVNCOA_ERROR_TEXT_SIZE + 16];
    std::memset(err, '#', sizeof err);
    EXPECT_EQ(qvncoa_init_data_obj(&obj, root.c_str(), "/k", "", 2, nullptr, err, 0), QVNCOA_ERR_FILE_OPEN);
    EXPECT_EQ(std::strlen(err), 1023u);
    EXPECT_EQ(err[1024], '#');  // nothing written past the 1024 bytes
    EXPECT_EQ(std::string(err), root.substr(0, 1023));
    qvncoa_destroy_data_obj(&obj);

    EXPECT_EQ(qvncoa_init_data_obj(&obj, kNoSuchRoot, "/k", "", 2, nullptr, nullptr, 0), QVNCOA_ERR_FILE_OPEN);
    qvncoa_destroy_data_obj(&obj);
}

TEST(Boundary, MonthLimitIsClamped) {
    EXPECT_EQ(QV_NCOA::clampMedMonths(5), 0);
    EXPECT_EQ(QV_NCOA::clampMedMonths(-3), 0);
    EXPECT_EQ(QV_NCOA::clampMedMonths(6), 6);
    EXPECT_EQ(QV_NCOA::clampMedMonths(48), 48);
    EXPECT_EQ(QV_NCOA::clampMedMonths(100), 48);
}
