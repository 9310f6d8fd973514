/* The public headers must stand on their own in a strict C99 program, and the
 * layout assertions must hold there too. */
#include "ridgex.h"
#include "ridgex_text.h"

int main(void) {
    ridgex_version_info version = {sizeof(ridgex_version_info), 0, 0, 0, 0, 0, 0};
    ridgex_capture_param parm = {sizeof(ridgex_capture_param), RIDGEX_IMG_FMT_ISO19794,
                                 RIDGEX_IMG_PROC_DEFAULT, 500};
    (void)parm;
    return ridgex_version(&version) == RIDGEX_SUCCESS && version.api_minor == 10 ? 0 : 1;
}
