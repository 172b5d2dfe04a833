/* Copyright 2026 The qor-handler-manager authors. SPDX-License-Identifier: Apache-2.0 */

#ifndef PLATFORM_RPC_PORT_H_
#define PLATFORM_RPC_PORT_H_

/* Connections between applications: a stub listens on a named port, proxies connect to it. Each
   connection has a main port (calls and replies) and a callback port (messages pushed by the stub).
   Events are raised on the main loop. Port handles are valid as long as their connection. */
#include <stdbool.h>
#include <tizen_error.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef enum {
  RPC_PORT_ERROR_NONE = TIZEN_ERROR_NONE,
  RPC_PORT_ERROR_INVALID_PARAMETER = TIZEN_ERROR_INVALID_PARAMETER,
  RPC_PORT_ERROR_OUT_OF_MEMORY = TIZEN_ERROR_OUT_OF_MEMORY,
  RPC_PORT_ERROR_IO_ERROR = TIZEN_ERROR_IO_ERROR,
  RPC_PORT_ERROR_PERMISSION_DENIED = TIZEN_ERROR_PERMISSION_DENIED
} rpc_port_error_e;

typedef enum { RPC_PORT_PORT_MAIN, RPC_PORT_PORT_CALLBACK } rpc_port_port_type_e;

typedef void* rpc_port_h;
typedef void* rpc_port_proxy_h;
typedef void* rpc_port_stub_h;

int rpc_port_disconnect(rpc_port_h port);

/* Proxy: `receiver` is the application id of the stub. Each connect raises exactly one connected or
 * rejected event. */
typedef void (*rpc_port_proxy_connected_event_cb)(const char* receiver, const char* port_name,
                                                  rpc_port_h port, void* user_data);
typedef void (*rpc_port_proxy_disconnected_event_cb)(const char* receiver, const char* port_name,
                                                     void* user_data);
typedef void (*rpc_port_proxy_rejected_event_cb)(const char* receiver, const char* port_name,
                                                 void* user_data);
typedef void (*rpc_port_proxy_received_event_cb)(const char* receiver, const char* port_name,
                                                 void* user_data);

int rpc_port_proxy_create(rpc_port_proxy_h* h);
int rpc_port_proxy_destroy(rpc_port_proxy_h h);
int rpc_port_proxy_connect(rpc_port_proxy_h h, const char* appid, const char* port);
int rpc_port_proxy_connect_sync(rpc_port_proxy_h h, const char* appid, const char* port_name);
int rpc_port_proxy_add_connected_event_cb(rpc_port_proxy_h h, rpc_port_proxy_connected_event_cb cb,
                                          void* user_data);
int rpc_port_proxy_add_disconnected_event_cb(rpc_port_proxy_h h,
                                             rpc_port_proxy_disconnected_event_cb cb,
                                             void* user_data);
int rpc_port_proxy_add_rejected_event_cb(rpc_port_proxy_h h, rpc_port_proxy_rejected_event_cb cb,
                                         void* user_data);
int rpc_port_proxy_add_received_event_cb(rpc_port_proxy_h h, rpc_port_proxy_received_event_cb cb,
                                         void* user_data);
int rpc_port_proxy_get_port(rpc_port_proxy_h h, rpc_port_port_type_e type, rpc_port_h* port);

/* Stub: `sender` is the application id of the proxy, `instance` an opaque id of the connection. */
typedef void (*rpc_port_stub_connected_event_cb)(const char* sender, const char* instance,
                                                 void* user_data);
typedef void (*rpc_port_stub_disconnected_event_cb)(const char* sender, const char* instance,
                                                    void* user_data);
/* A parcel has arrived on the main port. Returns 0, or another value to close the connection. */
typedef int (*rpc_port_stub_received_event_cb)(const char* sender, const char* instance,
                                               rpc_port_h port, void* user_data);

int rpc_port_stub_create(rpc_port_stub_h* h, const char* port_name);
int rpc_port_stub_destroy(rpc_port_stub_h h);
int rpc_port_stub_listen(rpc_port_stub_h h);
/* Requires the privilege of all peers. Must be called before rpc_port_stub_listen(). */
int rpc_port_stub_add_privilege(rpc_port_stub_h h, const char* privilege);
int rpc_port_stub_add_connected_event_cb(rpc_port_stub_h h, rpc_port_stub_connected_event_cb cb,
                                         void* user_data);
int rpc_port_stub_add_disconnected_event_cb(rpc_port_stub_h h,
                                            rpc_port_stub_disconnected_event_cb cb,
                                            void* user_data);
int rpc_port_stub_add_received_event_cb(rpc_port_stub_h h, rpc_port_stub_received_event_cb cb,
                                        void* user_data);
int rpc_port_stub_get_port(rpc_port_stub_h h, rpc_port_port_type_e type, const char* instance,
                           rpc_port_h* port);

#ifdef __cplusplus
}
#endif

#endif
