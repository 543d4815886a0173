#include <stdio.h>

#include <kvtip/kvtip.h>

int main(void) {
    const kvtip_resolution *found;
    const uint32_t code = kvtip_resolve("localhost", "http", NULL, &found);
    if (code != 0) {
        fprintf(stderr, "cannot resolve: %s\n", kvtip_error_name(code));
        return 1;
    }
    for (size_t i = 0; i < found->endpoint_count; ++i) {
        char text[KVTIP_ENDPOINT_TEXT_SIZE];
        kvtip_format_endpoint(&found->endpoints[i], text, sizeof text);
        puts(text);
    }
    kvtip_free(found);
    return 0;
}
