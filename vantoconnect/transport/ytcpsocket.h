#ifndef VANTOCONNECT_TRANSPORT_YTCPSOCKET_H
#define VANTOCONNECT_TRANSPORT_YTCPSOCKET_H

/* The TCP half of the C-level socket layer: the only code (with yudpsocket.c) that touches the
 * socket API. Failures are small negative integers; the object level turns them into results.
 *
 *   ytcpsocket_connect: descriptor, or -1 name not resolved, -2 select failed or the new
 *                       descriptor is FD_SETSIZE (1024) or above, which select cannot take
 *                       (closed again, nothing is sent), -3 timed out, -4 connect refused or
 *                       failed
 *   ytcpsocket_pull:    with a time-out, -1 for a descriptor select cannot take
 *   ytcpsocket_listen:  descriptor, or -1 bind failed, -2 listen failed
 *   ytcpsocket_accept:  descriptor, or -1
 */

#ifdef __cplusplus
extern "C" {
#endif

int ytcpsocket_set_block(int socket, int on);
int ytcpsocket_connect(const char* host, int port, int timeout);
int ytcpsocket_close(int socketfd);
int ytcpsocket_pull(int socketfd, char* data, int len, int timeout_sec);
int ytcpsocket_send(int socketfd, const char* data, int len);
int ytcpsocket_listen(const char* address, int port);
/* remoteip must hold at least 16 bytes (a dotted IPv4 address and its terminator). */
int ytcpsocket_accept(int onsocketfd, char* remoteip, int* remoteport);

/* gethostbyname hands back a process-wide buffer; every lookup of the TCP and UDP layers holds
 * this lock from the call until it has copied what it needs. */
void ysocket_resolver_lock(void);
void ysocket_resolver_unlock(void);

#ifdef __cplusplus
}
#endif

#endif
