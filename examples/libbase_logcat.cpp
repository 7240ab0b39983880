// libbase-logcat: listens on a UDP port and prints the trace lines that
// applications send to their network log, one datagram at a time.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "libbase.h"

namespace {

volatile sig_atomic_t g_stop = 0;

void on_signal(int)
{
    g_stop = 1;
}

void usage(const char *argv0)
{
    printf("usage: %s [--port N] [--bind IP] [--count N] [--timeout SECONDS] [--source]\n\n"
           "Prints every log datagram received on the UDP port (default 8001, address 127.0.0.1;\n"
           "port 0 takes any free port, reported on standard error).\n"
           "  --count N          stop after N datagrams\n"
           "  --timeout SECONDS  stop after SECONDS without a datagram\n"
           "  --source           put the sender's address and port in front of each line\n",
           argv0);
}

} // namespace

int main(int argc, char **argv)
{
    int port = 8001, count = -1, timeout_s = -1;
    bool source = false;
    std::string bind_ip = "127.0.0.1";
    for (int i = 1; i < argc; i++) {
        std::string arg = argv[i];
        bool has_value = i + 1 < argc;
        if (arg == "--help" || arg == "-h") {
            usage(argv[0]);
            return 0;
        } else if (arg == "--port" && has_value) {
            port = atoi(argv[++i]);
        } else if (arg == "--bind" && has_value) {
            bind_ip = argv[++i];
        } else if (arg == "--count" && has_value) {
            count = atoi(argv[++i]);
        } else if (arg == "--timeout" && has_value) {
            timeout_s = atoi(argv[++i]);
        } else if (arg == "--source") {
            source = true;
        } else {
            usage(argv[0]);
            return 2;
        }
    }
    int fd = Udp_Socket_Create_bind_ip_port(const_cast<char *>(bind_ip.c_str()), port);
    if (fd < 0) {
        fprintf(stderr, "cannot listen on %s:%d\n", bind_ip.c_str(), port);
        return 1;
    }
    sockaddr_in local{};
    socklen_t local_len = sizeof local;
    getsockname(fd, reinterpret_cast<sockaddr *>(&local), &local_len);
    fprintf(stderr, "libbase-logcat: listening on %s:%d\n", bind_ip.c_str(), ntohs(local.sin_port));
    signal(SIGINT, on_signal);
    signal(SIGTERM, on_signal);
    setvbuf(stdout, nullptr, _IOLBF, 0);

    static char line[65536];
    int received = 0;
    while (!g_stop && (count < 0 || received < count)) {
        pollfd p = {fd, POLLIN, 0};
        int ready = poll(&p, 1, timeout_s < 0 ? -1 : timeout_s * 1000);
        if (ready == 0)
            break;
        if (ready < 0)
            continue;
        char ip[32] = {};
        int from_port = 0;
        int n = Udp_Socket_recv_By_Addr(fd, line, sizeof line - 1, ip, &from_port);
        if (n <= 0)
            continue;
        received++;
        if (source)
            printf("%s:%d ", ip, from_port);
        fwrite(line, 1, static_cast<size_t>(n), stdout);
        if (line[n - 1] != '\n')
            putchar('\n');
    }
    Udp_Socket_Close(fd);
    return 0;
}
