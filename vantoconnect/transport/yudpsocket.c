#include "vantoconnect/transport/yudpsocket.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/types.h>
#include <unistd.h>

#include "vantoconnect/transport/ytcpsocket.h"

int yudpsocket_server(const char* address, int port) {
    int socketfd = socket(AF_INET, SOCK_DGRAM, 0);
    int reuseon = 1;
    int r = -1;
    struct sockaddr_in serv_addr;

    if (socketfd < 0) {
        return -1;
    }
    memset(&serv_addr, 0, sizeof(serv_addr));
    serv_addr.sin_family = AF_INET;
    serv_addr.sin_port = htons((uint16_t)port);
    if (address && strlen(address) > 0 && strcmp(address, "255.255.255.255") != 0) {
        r = setsockopt(socketfd, SOL_SOCKET, SO_REUSEADDR, &reuseon, sizeof(reuseon));
        serv_addr.sin_addr.s_addr = inet_addr(address);
    } else {
        /* No usable unicast address: listen everywhere and take broadcasts too. */
        r = setsockopt(socketfd, SOL_SOCKET, SO_BROADCAST, &reuseon, sizeof(reuseon));
        serv_addr.sin_addr.s_addr = htonl(INADDR_ANY);
    }
    if (r == -1) {
        return -1;
    }
    r = bind(socketfd, (struct sockaddr*)&serv_addr, sizeof(serv_addr));
    if (r == 0) {
        return socketfd;
    }
    return -1;
}

int yudpsocket_recive(int socket_fd, char* outdata, int expted_len, char* remoteip,
                      int* remoteport) {
    struct sockaddr_in cli_addr;
    socklen_t clilen = sizeof(cli_addr);
    int len;

    memset(&cli_addr, 0, sizeof(cli_addr));
    memset(outdata, 0, (size_t)(expted_len < 0 ? 0 : expted_len));
    len = (int)recvfrom(socket_fd, outdata, (size_t)(expted_len < 0 ? 0 : expted_len), 0,
                        (struct sockaddr*)&cli_addr, &clilen);
    {
        const char* clientip = inet_ntoa(cli_addr.sin_addr);
        memcpy(remoteip, clientip, strlen(clientip) + 1);
    }
    *remoteport = cli_addr.sin_port;
    return len;
}

int yudpsocket_close(int socket_fd) {
    return close(socket_fd);
}

int yudpsocket_client(void) {
    int reuseon = 1;
    int socketfd = socket(AF_INET, SOCK_DGRAM, 0);
    if (socketfd >= 0) {
        setsockopt(socketfd, SOL_SOCKET, SO_REUSEADDR, &reuseon, sizeof(reuseon));
    }
    return socketfd;
}

int enable_broadcast(int socket_fd) {
    int reuseon = 1;
    return setsockopt(socket_fd, SOL_SOCKET, SO_BROADCAST, &reuseon, sizeof(reuseon));
}

int yudpsocket_get_server_ip(const char* host, char* ip) {
    struct hostent* hp;
    struct sockaddr_in address;
    const char* text;

    memset(&address, 0, sizeof(address));
    ysocket_resolver_lock();
    hp = gethostbyname(host);
    if (hp == NULL || hp->h_addr_list[0] == NULL) {
        ysocket_resolver_unlock();
        return -1;
    }
    memcpy(&address.sin_addr, hp->h_addr_list[0],
           (size_t)hp->h_length < sizeof(address.sin_addr) ? (size_t)hp->h_length
                                                           : sizeof(address.sin_addr));
    ysocket_resolver_unlock();
    text = inet_ntoa(address.sin_addr);
    memcpy(ip, text, strlen(text));
    return 0;
}

int yudpsocket_sentto(int socket_fd, const char* msg, int len, const char* toaddr, int topotr) {
    struct sockaddr_in address;
    socklen_t addrlen = sizeof(address);
    memset(&address, 0, sizeof(address));
    address.sin_family = AF_INET;
    address.sin_port = htons((uint16_t)topotr);
    address.sin_addr.s_addr = inet_addr(toaddr);
    return (int)sendto(socket_fd, msg, (size_t)(len < 0 ? 0 : len), 0, (struct sockaddr*)&address,
                       addrlen);
}
