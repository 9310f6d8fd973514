#include "usage.h"

const char* const kMainUsage =
    "Usage: ridgex COMMAND [OPTION]... [OPERAND]...\n"
    "       ridgex --help | --version\n"
    "Lists, inspects and captures from fingerprint readers through libridgex.\n"
    "\n"
    "Commands:\n"
    "  list [--json]                    the readers: name, vid:pid, revision, slot\n"
    "  info NAME                        what a reader is and what it can do\n"
    "  capture [NAME] [-o FILE] [--format png|pgm|ansi|iso] [--dpi N]\n"
    "          [--timeout MS] [--liveness [--far N]]\n"
    "                                   one fingerprint into a file\n"
    "  stream NAME [--frames N]         a reader's stream, with a live count and rate\n"
    "  trace on [--folder DIR] | off | status\n"
    "                                   switch the library's tracing in the registry store\n"
    "  trace show [--flat] FILE         print a .trc3 trace file\n"
    "\n"
    "NAME is a reader's name as 'ridgex list' shows it, or that name without its\n"
    "\"$NN$\" prefix when only one reader has it. 'ridgex COMMAND --help' tells more.\n"
    "\n"
    "Exit status:\n"
    "  0    success\n"
    "  1    failure: a library status (printed by name and number), a file that\n"
    "       cannot be read or written, no such reader, no backend\n"
    "  2    wrong usage\n"
    "  3    the capture's --timeout passed without a finger\n"
    "  4    the capture gave no image: the reader or the liveness check refused it\n"
    "  5    trace show: the file is damaged; what could be read was printed\n"
    "  130  cancelled with Ctrl-C\n";

const char* const kListUsage =
    "Usage: ridgex list [--json]\n"
    "Lists the readers of every backend: name, vid:pid, revision, slot and product.\n"
    "\n"
    "  --json   one JSON object {\"readers\": [...]}, each reader with the members\n"
    "           name, slot, vid, pid, revision (numbers), vendor, product, serial\n";

const char* const kInfoUsage =
    "Usage: ridgex info NAME\n"
    "Opens the reader and shows its identity, its resolutions with the image size\n"
    "at each, whether it streams, its LEDs, processing mode 1, and its status.\n";

const char* const kCaptureUsage =
    "Usage: ridgex capture [NAME] [-o FILE] [--format png|pgm|ansi|iso] [--dpi N]\n"
    "                      [--timeout MS] [--liveness [--far N]]\n"
    "Captures one fingerprint from the reader NAME (without NAME, the first listed\n"
    "reader) and writes it to FILE. Says on standard error that it waits for a\n"
    "finger and shows the seconds passing; Ctrl-C cancels the capture (exit 130).\n"
    "\n"
    "  -o FILE       the file to write; \"-\" is standard output. Default:\n"
    "                fingerprint.png, .pgm, .ansi381 or .iso19794 by format\n"
    "  --format F    png   8-bit gray PNG with the resolution in it (the default)\n"
    "                pgm   8-bit binary PGM\n"
    "                ansi  ANSI/INCITS 381 finger image record\n"
    "                iso   ISO/IEC 19794-4 finger image record\n"
    "                Without --format, an extension of FILE (.png, .pgm, .ansi,\n"
    "                .ansi381, .iso, .iso19794) chooses it.\n"
    "  --dpi N       capture at N dots per inch, one of the reader's resolutions\n"
    "                ('ridgex info' lists them). Default: the reader's own\n"
    "  --timeout MS  give up after MS milliseconds without a finger (exit 3).\n"
    "                Default: wait until a finger comes or Ctrl-C\n"
    "  --liveness    switch the liveness check on for this capture and say\n"
    "                whether the image passed; a refused image gives exit 4\n"
    "  --far N       with --liveness: the false accept rate in percent, 0 to 255\n";

const char* const kStreamUsage =
    "Usage: ridgex stream NAME [--frames N]\n"
    "Streams images from the reader and shows on standard error how many came and\n"
    "at what rate, until N frames came or Ctrl-C (exit 130); then prints the total\n"
    "on standard output.\n"
    "\n"
    "  --frames N    stop after N frames\n";

const char* const kTraceUsage =
    "Usage: ridgex trace on [--folder DIR]\n"
    "       ridgex trace off | status\n"
    "       ridgex trace show [--flat] FILE\n"
    "Switches the library's tracing in the registry store, $RIDGEX_REGISTRY or else\n"
    "/etc/ridgex/registry.reg; running programs follow within 30 seconds.\n"
    "\n"
    "  on            sets DoTrace to 1, creating the store or its key if needed\n"
    "  --folder DIR  with on: the trace files go to DIR (TracePath)\n"
    "  off           sets DoTrace to 0\n"
    "  status        whether tracing is on, and where its files go\n"
    "  show FILE     prints a .trc3 file: its head, any damage, and one call tree\n"
    "                per thread (exit 5 when the file is damaged)\n"
    "  --flat        with show: all records in the order of the file\n";
