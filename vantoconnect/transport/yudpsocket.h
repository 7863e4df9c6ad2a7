#ifndef VANTOCONNECT_TRANSPORT_YUDPSOCKET_H
#define VANTOCONNECT_TRANSPORT_YUDPSOCKET_H

/* The datagram half of the C-level socket layer. Ports handed back are in network byte order,
 * as the address record holds them. Every text buffer for an address must hold 16 bytes. */

#ifdef __cplusplus
extern "C" {
#endif

/* address may be NULL or empty: the socket is then bound to every interface with broadcast on,
 * as it is for "255.255.255.255". Returns the descriptor or -1. */
int yudpsocket_server(const char* address, int port);
int yudpsocket_recive(int socket_fd, char* outdata, int expted_len, char* remoteip,
                      int* remoteport);
int yudpsocket_close(int socket_fd);
int yudpsocket_client(void);
int enable_broadcast(int socket_fd);
/* 0 with the dotted address copied (no terminator) into ip, or -1 leaving ip untouched. */
int yudpsocket_get_server_ip(const char* host, char* ip);
int yudpsocket_sentto(int socket_fd, const char* msg, int len, const char* toaddr, int topotr);

#ifdef __cplusplus
}
#endif

#endif
