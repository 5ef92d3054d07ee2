/* One lookup through libqvncoa: lookup DATA_ROOT KB NAME PNO SNO ZIP9.
 * Build: cc lookup.c $(pkg-config --cflags --libs qvncoa) */
#include <stdio.h>
#include <stdlib.h>

#include <qvncoa.h>

int main(int argc, char** argv) {
    if (argc != 7) {
        fprintf(stderr, "usage: %s DATA_ROOT KB NAME PNO SNO ZIP9\n", argv[0]);
        return 2;
    }
    char err[QVNCOA_ERROR_TEXT_SIZE] = "";
    void* data = NULL;
    int rc = qvncoa_init_data_obj(&data, argv[1], argv[2], "", 2, NULL, err, 0);
    if (rc != QVNCOA_OK) {
        fprintf(stderr, "cannot open %s: %s (code %d)\n", argv[1], err, rc);
        qvncoa_destroy_data_obj(&data);
        return 1;
    }
    qvncoa_in_addr_t in = {argv[3], argv[4], argv[5], argv[6], "", 'S'};
    qvncoa_out_addr_t out;
    rc = qvncoa_lookup_without_qvav(data, &in, &out, eBIF_All, 0, err, 0);
    if (rc != QVNCOA_OK && rc != QVNCOA_OK_MOVE_TOO_OLD) {
        fprintf(stderr, "lookup failed: %s (code %d)\n", err, rc);
        qvncoa_destroy_data_obj(&data);
        return 1;
    }
    printf("%s|%s|%s\n", out.returnCode, out.addressLine, out.lastLine);
    qvncoa_destroy_data_obj(&data);
    return 0;
}
