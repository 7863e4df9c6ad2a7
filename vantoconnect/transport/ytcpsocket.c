#include "vantoconnect/transport/ytcpsocket.h"

#include <arpa/inet.h>
#include <errno.h>
#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <pthread.h>
#include <string.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/types.h>
#include <unistd.h>

static pthread_mutex_t resolver_mutex = PTHREAD_MUTEX_INITIALIZER;

void ysocket_resolver_lock(void) {
    pthread_mutex_lock(&resolver_mutex);
}

void ysocket_resolver_unlock(void) {
    pthread_mutex_unlock(&resolver_mutex);
}

int ytcpsocket_set_block(int socket, int on) {
    int flags = fcntl(socket, F_GETFL, 0);
    if (on == 0) {
        flags |= O_NONBLOCK;
    } else {
        flags &= ~O_NONBLOCK;
    }
    return fcntl(socket, F_SETFL, flags);
}

int ytcpsocket_connect(const char* host, int port, int timeout) {
    struct sockaddr_in sa;
    struct hostent* hp;
    size_t length;
    int sockfd;
    fd_set fdwrite;
    struct timeval tvSelect;
    int retval;
    int error = 0;
    socklen_t errlen = sizeof(error);

    memset(&sa, 0, sizeof(sa));
    ysocket_resolver_lock();
    hp = gethostbyname(host);
    if (hp == NULL || hp->h_addr_list[0] == NULL) {
        ysocket_resolver_unlock();
        return -1;
    }
    /* The entry says how long its address is; never copy more than the record can hold. */
    length = (size_t)hp->h_length;
    if (length > sizeof(sa.sin_addr)) {
        length = sizeof(sa.sin_addr);
    }
    memcpy(&sa.sin_addr, hp->h_addr_list[0], length);
    sa.sin_family = (sa_family_t)hp->h_addrtype;
    ysocket_resolver_unlock();
    sa.sin_port = htons((uint16_t)port);

    sockfd = socket(sa.sin_family, SOCK_STREAM, 0);
    if (sockfd < 0) {
        /* No socket at all: the caller can only be told that connecting failed. */
        return -4;
    }
    if (sockfd >= FD_SETSIZE) {
        /* select cannot watch a descriptor this large; report it as the failed wait it would be. */
        close(sockfd);
        return -2;
    }
    ytcpsocket_set_block(sockfd, 0);
    /* A non-blocking connect normally answers "in progress"; select tells how it ended. */
    (void)connect(sockfd, (struct sockaddr*)&sa, sizeof(sa));

    FD_ZERO(&fdwrite);
    FD_SET(sockfd, &fdwrite);
    tvSelect.tv_sec = timeout;
    tvSelect.tv_usec = 0;
    retval = select(sockfd + 1, NULL, &fdwrite, NULL, &tvSelect);
    if (retval < 0) {
        close(sockfd);
        return -2;
    }
    if (retval == 0) {
        close(sockfd);
        return -3;
    }
    getsockopt(sockfd, SOL_SOCKET, SO_ERROR, &error, &errlen);
    if (error != 0) {
        close(sockfd);
        return -4;
    }
    ytcpsocket_set_block(sockfd, 1);
#ifdef SO_NOSIGPIPE
    {
        int set = 1;
        setsockopt(sockfd, SOL_SOCKET, SO_NOSIGPIPE, (void*)&set, sizeof(int));
    }
#endif
    /* Where the socket option does not exist (Linux), ytcpsocket_send passes MSG_NOSIGNAL on
     * every write instead, so a write to a closed peer is still an error and never a signal. */
    return sockfd;
}

int ytcpsocket_close(int socketfd) {
    return close(socketfd);
}

int ytcpsocket_pull(int socketfd, char* data, int len, int timeout_sec) {
    if (timeout_sec > 0) {
        fd_set fdset;
        struct timeval timeout;
        int ret;
        if (socketfd < 0 || socketfd >= FD_SETSIZE) {
            return -1;
        }
        timeout.tv_usec = 0;
        timeout.tv_sec = timeout_sec;
        FD_ZERO(&fdset);
        FD_SET(socketfd, &fdset);
        ret = select(socketfd + 1, &fdset, NULL, NULL, &timeout);
        if (ret < 1) {
            return ret;
        }
    }
    return (int)read(socketfd, data, (size_t)(len < 0 ? 0 : len));
}

int ytcpsocket_send(int socketfd, const char* data, int len) {
    int byteswrite = 0;
    while (len - byteswrite > 0) {
#ifdef MSG_NOSIGNAL
        ssize_t writelen =
            send(socketfd, data + byteswrite, (size_t)(len - byteswrite), MSG_NOSIGNAL);
#else
        ssize_t writelen = write(socketfd, data + byteswrite, (size_t)(len - byteswrite));
#endif
        if (writelen < 0) {
            return -1;
        }
        byteswrite += (int)writelen;
    }
    return byteswrite;
}

int ytcpsocket_listen(const char* address, int port) {
    struct sockaddr_in serv_addr;
    int socklen = sizeof(serv_addr);
    int reuseon = 1;
    int r;
    int socketfd = socket(AF_INET, SOCK_STREAM, 0);
    if (socketfd < 0) {
        /* Without a socket the bind below could only fail. */
        return -1;
    }
    setsockopt(socketfd, SOL_SOCKET, SO_REUSEADDR, &reuseon, sizeof(reuseon));

    memset(&serv_addr, 0, sizeof(serv_addr));
    serv_addr.sin_family = AF_INET;
    serv_addr.sin_addr.s_addr = inet_addr(address);
    serv_addr.sin_port = htons((uint16_t)port);
    r = bind(socketfd, (struct sockaddr*)&serv_addr, (socklen_t)socklen);
    if (r == 0) {
        if (listen(socketfd, 128) == 0) {
            return socketfd;
        }
        return -2;
    }
    return -1;
}

int ytcpsocket_accept(int onsocketfd, char* remoteip, int* remoteport) {
    socklen_t clilen;
    struct sockaddr_in cli_addr;
    int newsockfd;

    memset(&cli_addr, 0, sizeof(cli_addr));
    clilen = sizeof(cli_addr);
    newsockfd = accept(onsocketfd, (struct sockaddr*)&cli_addr, &clilen);
    {
        const char* clientip = inet_ntoa(cli_addr.sin_addr);
        memcpy(remoteip, clientip, strlen(clientip) + 1);
    }
    *remoteport = cli_addr.sin_port;
    if (newsockfd > 0) {
        return newsockfd;
    }
    return -1;
}
