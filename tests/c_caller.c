/* A C caller as the README tells it to be: check the installed set once, and
 * only then open it and look records up. Reads records from standard input,
 * one a line: name, primary number, secondary number, ZIP+4 (9 digits),
 * secondary designator and record type, separated by tabs. Prints one line of
 * answer for each. Exit 0 when every call returned a code, 3 when the check
 * refused the set, 4 when the set would not open. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "qvncoa.h"

static char* field(char** cursor) {
    char* start = *cursor;
    char* tab = strchr(start, '\t');
    if (tab != NULL) {
        *tab = '\0';
        *cursor = tab + 1;
    } else {
        *cursor = start + strlen(start);
    }
    return start;
}

int main(int argc, char** argv) {
    char err[QVNCOA_ERROR_TEXT_SIZE] = "";
    void* obj = NULL;
    char line[1024];
    unsigned flags;
    int rc;
    if (argc < 4) {
        fprintf(stderr, "usage: c_caller ROOT KB INIT-FLAGS < records\n");
        return 2;
    }
    flags = (unsigned)atoi(argv[3]);
    rc = qvncoa_check_data_set(argv[1], 1, NULL, NULL, err);
    if (rc != QVNCOA_OK) {
        printf("check %d %s\n", rc, err);
        return 3;
    }
    rc = qvncoa_init_data_obj(&obj, argv[1], argv[2], "", 2, NULL, err, flags);
    if (rc != QVNCOA_OK) {
        printf("open %d %s\n", rc, err);
        qvncoa_destroy_data_obj(&obj);
        return 4;
    }
    while (fgets(line, sizeof line, stdin) != NULL) {
        char* cursor = line;
        qvncoa_in_addr_t in;
        qvncoa_out_addr_t out;
        line[strcspn(line, "\r\n")] = '\0';
        in.name = field(&cursor);
        in.primaryNumber = field(&cursor);
        in.secondaryNumber = field(&cursor);
        in.zip9 = field(&cursor);
        in.secondaryDesignator = field(&cursor);
        in.recordType = *cursor != '\0' ? *cursor : 'S';
        memset(&out, 0, sizeof out);
        rc = qvncoa_lookup_without_qvav(obj, &in, &out, 0, 0, err, 0);
        if (rc == QVNCOA_OK || rc == QVNCOA_OK_MOVE_TOO_OLD)
            printf("%d|%s|%s|%s|%s|%s|%s|%c\n", rc, out.returnCode, out.name, out.addressLine, out.lastLine,
                   out.zip4, out.moveEffectiveDate, out.moveType ? out.moveType : ' ');
        else
            printf("%d\n", rc);
    }
    qvncoa_destroy_data_obj(&obj);
    return 0;
}
