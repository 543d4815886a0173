/* Reads an endpoint and writes it in its canonical form: addresses [ENDPOINT] */

#include <stdio.h>

#include "kvtip/kvtip.h"

int main(int argc, char **argv) {
    const char *text = argc > 1 ? argv[1] : "[2001:DB8:0:0::1]:443";
    kvtip_endpoint endpoint;
    char canonical[KVTIP_ENDPOINT_TEXT_SIZE]; /* holds every endpoint's text */
    uint32_t code = kvtip_parse_endpoint(text, &endpoint);
    if (code == 0) {
        code = kvtip_format_endpoint(&endpoint, canonical, sizeof canonical);
    }
    if (code != 0) {
        fprintf(stderr, "%s: %s\n", text, kvtip_error_name(code));
        return 1;
    }
    printf("%s: IPv%u, port %u\n", canonical, (unsigned)endpoint.address.family, (unsigned)endpoint.port);
    return 0;
}
