/*
 * A minimal libridgex client: lists the readers, opens the first one,
 * captures one fingerprint as bare 8-bit pixels and writes it as a PGM
 * image.
 *
 *   capture_pgm [OUTPUT.pgm]        (fingerprint.pgm by default)
 *
 * Exit status: 0 when the image is written, 1 on a failure, 2 when the
 * capture ended without an image (time-out, cancel, rejected finger).
 */
#include <ridgex.h>
#include <stdio.h>
#include <stdlib.h>

#define CAPTURE_TIMEOUT_MS 30000u
#define MAX_RESOLUTIONS 16u

static int fail(const char* what, ridgex_result status) {
    fprintf(stderr, "%s failed: 0x%08X\n", what, (unsigned)status);
    return 1;
}

/* Every buffer follows the same protocol: a call without room answers
 * RIDGEX_E_MORE_DATA with the count it needs. A reader plugged in between
 * the two calls makes the second answer the same, so ask until it fits. */
static ridgex_result list_readers(ridgex_device_info** readers, uint32_t* count) {
    ridgex_result status;
    *readers = NULL;
    *count = 0;
    while ((status = ridgex_query_devices(count, *readers)) == RIDGEX_E_MORE_DATA) {
        free(*readers);
        *readers = calloc(*count, sizeof **readers);
        if (*readers == NULL) {
            return RIDGEX_E_NO_MEMORY;
        }
        for (uint32_t i = 0; i < *count; ++i) {
            (*readers)[i].size = sizeof **readers;
        }
    }
    return status;
}

/* The reader's own resolution is the first it lists. */
static uint32_t native_resolution(ridgex_handle dev) {
    uint32_t room[(RIDGEX_DEVICE_CAPS_FIXED_SIZE + 4 * MAX_RESOLUTIONS) / 4];
    ridgex_device_caps* caps = (ridgex_device_caps*)room;
    caps->size = sizeof room;
    if (ridgex_get_device_capabilities(dev, caps) != RIDGEX_SUCCESS || caps->resolution_cnt == 0) {
        return 500;
    }
    return caps->resolutions[0];
}

static int write_pgm(const char* path, const ridgex_image_info* info, const uint8_t* pixels) {
    FILE* file = fopen(path, "wb");
    if (file == NULL) {
        return 0;
    }
    const size_t size = (size_t)info->width * info->height;
    const int written =
        fprintf(file, "P5\n%u %u\n255\n", (unsigned)info->width, (unsigned)info->height) > 0 &&
        fwrite(pixels, 1, size, file) == size;
    return fclose(file) == 0 && written;
}

static int capture_to_file(ridgex_handle dev, const char* path) {
    ridgex_capture_param parm = {sizeof parm, RIDGEX_IMG_FMT_RAW, RIDGEX_IMG_PROC_DEFAULT,
                                 native_resolution(dev)};
    ridgex_capture_result result = {0};
    result.size = sizeof result;
    result.info.size = sizeof result.info;

    /* No room and no time: the first call only tells the image's size. */
    uint32_t size = 0;
    ridgex_result status = ridgex_capture(dev, &parm, 0, &result, &size, NULL);
    if (status != RIDGEX_E_MORE_DATA) {
        return fail("ridgex_capture (size)", status);
    }
    uint8_t* pixels = malloc(size);
    if (pixels == NULL) {
        return fail("malloc", RIDGEX_E_NO_MEMORY);
    }
    printf("Waiting up to %u s for a finger...\n", CAPTURE_TIMEOUT_MS / 1000);
    status = ridgex_capture(dev, &parm, CAPTURE_TIMEOUT_MS, &result, &size, pixels);
    int exit_status = 0;
    if (status != RIDGEX_SUCCESS) {
        exit_status = fail("ridgex_capture", status);
    } else if (!result.success) {
        fprintf(stderr, "no image: quality 0x%04X\n", (unsigned)result.quality);
        exit_status = 2;
    } else if (!write_pgm(path, &result.info, pixels)) {
        fprintf(stderr, "cannot write %s\n", path);
        exit_status = 1;
    } else {
        printf("Wrote %s: %u x %u pixels at %u dpi.\n", path, (unsigned)result.info.width,
               (unsigned)result.info.height, (unsigned)result.info.res);
    }
    free(pixels);
    return exit_status;
}

int main(int argc, char** argv) {
    const char* path = argc > 1 ? argv[1] : "fingerprint.pgm";
    ridgex_result status = ridgex_init();
    if (status != RIDGEX_SUCCESS) {
        return fail("ridgex_init", status);
    }
    ridgex_device_info* readers;
    uint32_t count;
    int exit_status = 1;
    status = list_readers(&readers, &count);
    if (status != RIDGEX_SUCCESS) {
        fail("ridgex_query_devices", status);
    } else if (count == 0) {
        fprintf(stderr, "no fingerprint reader found\n");
    } else {
        for (uint32_t i = 0; i < count; ++i) {
            printf("%s  %04x:%04x  %s %s\n", readers[i].name, readers[i].vid, readers[i].pid,
                   readers[i].vendor_name, readers[i].product_name);
        }
        ridgex_handle dev = NULL;
        status = ridgex_open(readers[0].name, &dev);
        if (status != RIDGEX_SUCCESS) {
            fail("ridgex_open", status);
        } else {
            printf("Opened %s.\n", readers[0].name);
            exit_status = capture_to_file(dev, path);
            ridgex_close(dev);
        }
    }
    free(readers);
    ridgex_exit();
    return exit_status;
}
