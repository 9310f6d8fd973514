/* Decodes a PNG file whole with libpng and prints "WIDTH HEIGHT BITS
 * COLOR_TYPE"; exit status 1 when the file is no readable PNG. */
#include <png.h>
#include <stdio.h>
#include <stdlib.h>

int main(int argc, char** argv) {
    FILE* file = argc == 2 ? fopen(argv[1], "rb") : NULL;
    png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, NULL, NULL, NULL);
    png_infop info = png != NULL ? png_create_info_struct(png) : NULL;
    if (file == NULL || info == NULL || setjmp(png_jmpbuf(png)) != 0) {
        return 1;
    }
    png_init_io(png, file);
    png_read_info(png, info);
    const png_uint_32 width = png_get_image_width(png, info);
    const png_uint_32 height = png_get_image_height(png, info);
    png_bytep row = malloc(png_get_rowbytes(png, info));
    for (png_uint_32 y = 0; y < height; ++y) {
        png_read_row(png, row, NULL);
    }
    png_read_end(png, NULL);
    printf("%u %u %d %d\n", (unsigned)width, (unsigned)height, png_get_bit_depth(png, info),
           png_get_color_type(png, info));
    free(row);
    png_destroy_read_struct(&png, &info, NULL);
    fclose(file);
    return 0;
}
