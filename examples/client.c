/* Connects to a host and port, by default to a port of this host at which nobody listens, sends a line, and prints
 * the line that comes back: client [HOST PORT]. Shows every attempt, also when none succeeds. */

#include <stdio.h>
#include <string.h>

#include <kvtip/kvtip.h>

enum { TIMEOUT = 5000 }; /* for each step, in milliseconds */

static int fail(const char *what, uint32_t code) {
    char message[KVTIP_MESSAGE_SIZE];
    kvtip_message(code, message, sizeof message);
    fprintf(stderr, "%s: %s: %s\n", what, kvtip_error_name(code), message);
    return 1;
}

static void print_attempts(const kvtip_attempt_list *attempts) {
    for (size_t i = 0; i < attempts->count; ++i) {
        const kvtip_attempt *each = attempts->rows[i];
        char remote[KVTIP_ENDPOINT_TEXT_SIZE], message[KVTIP_MESSAGE_SIZE];
        kvtip_format_endpoint(&each->remote, remote, sizeof remote);
        kvtip_message(each->code, message, sizeof message);
        printf("after %u ms: %s: %s (%u ms)\n", each->start, remote, each->code == 0 ? "connected" : message,
               each->time);
    }
}

static int exchange(kvtip_socket socket, const char *line) {
    char answer[256];
    size_t count, size = 0;
    uint32_t code = kvtip_send(socket, line, strlen(line), TIMEOUT, &count);
    if (code != 0) {
        return fail("not sent", code);
    }
    do { /* a line can arrive in pieces */
        code = kvtip_receive(socket, answer + size, sizeof answer - size, TIMEOUT, &count);
        size += count;
    } while (code == 0 && count != 0 && size < sizeof answer && answer[size - 1] != '\n');
    fwrite(answer, 1, size, stdout);
    return code == 0 ? 0 : fail("no answer", code);
}

int main(int argc, char **argv) {
    const kvtip_connect_options options = {.size = sizeof options, .timeout = TIMEOUT};
    const kvtip_connect_result *made;
    const uint32_t code =
        kvtip_connect(argc > 2 ? argv[1] : "127.0.0.1", argc > 2 ? argv[2] : "1", &options, &made);
    int status;
    if (made != NULL) { /* on failure it has the attempts */
        print_attempts(&made->attempts);
    }
    if (code == 0) {
        status = exchange(made->socket, "hello\n");
        kvtip_close(made->socket);
    } else {
        status = fail("not connected", code);
    }
    kvtip_free(made);
    return status;
}
