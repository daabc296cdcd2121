#include "formats/dpx/film_state.h"

int g_bSwap = 1;
int g_iBitDepth = 10;
int g_iTransfer = trellis::dpx::cineon_transfer;

int DPX_COMPONENTS = 0;
int available_user_lut = 0;

int get_info(int* transfer, int* bit_depth) {
    *transfer = g_iTransfer;
    *bit_depth = g_iBitDepth;
    return 0;
}
