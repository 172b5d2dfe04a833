/* Copyright 2026 The qor-handler-manager authors. SPDX-License-Identifier: Apache-2.0 */

#ifndef PLATFORM_RPC_PORT_PARCEL_H_
#define PLATFORM_RPC_PORT_PARCEL_H_

/* A message of a connection: a header (tag, sequence number, time) and typed values, which are read
   in the order in which they were written. A read past the end returns
   RPC_PORT_ERROR_INVALID_PARAMETER and leaves its output unchanged. */
#include <bundle.h>
#include <rpc-port.h>
#include <stdbool.h>
#include <sys/time.h>
#include <time.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef void* rpc_port_parcel_h;
typedef void* rpc_port_parcel_header_h;

int rpc_port_parcel_create(rpc_port_parcel_h* h);
/* Receives the next parcel from a port. Blocks until it is complete. */
int rpc_port_parcel_create_from_port(rpc_port_parcel_h* h, rpc_port_h port);
int rpc_port_parcel_create_from_raw(rpc_port_parcel_h* h, const void* raw, unsigned int size);
/* Does not consume the parcel. */
int rpc_port_parcel_send(rpc_port_parcel_h h, rpc_port_h port);
int rpc_port_parcel_destroy(rpc_port_parcel_h h);

int rpc_port_parcel_write_byte(rpc_port_parcel_h h, char b);
int rpc_port_parcel_write_int16(rpc_port_parcel_h h, short i);
int rpc_port_parcel_write_int32(rpc_port_parcel_h h, int i);
int rpc_port_parcel_write_int64(rpc_port_parcel_h h, long long i);
int rpc_port_parcel_write_float(rpc_port_parcel_h h, float f);
int rpc_port_parcel_write_double(rpc_port_parcel_h h, double d);
int rpc_port_parcel_write_string(rpc_port_parcel_h h, const char* str);
int rpc_port_parcel_write_bool(rpc_port_parcel_h h, bool b);
int rpc_port_parcel_write_bundle(rpc_port_parcel_h h, bundle* b);
int rpc_port_parcel_write_array_count(rpc_port_parcel_h h, int count);
int rpc_port_parcel_burst_write(rpc_port_parcel_h h, const unsigned char* buf, unsigned int size);

/* Release strings with free(), bundles with bundle_free(). */
int rpc_port_parcel_read_byte(rpc_port_parcel_h h, char* b);
int rpc_port_parcel_read_int16(rpc_port_parcel_h h, short* i);
int rpc_port_parcel_read_int32(rpc_port_parcel_h h, int* i);
int rpc_port_parcel_read_int64(rpc_port_parcel_h h, long long* i);
int rpc_port_parcel_read_float(rpc_port_parcel_h h, float* f);
int rpc_port_parcel_read_double(rpc_port_parcel_h h, double* d);
int rpc_port_parcel_read_string(rpc_port_parcel_h h, char** str);
int rpc_port_parcel_read_bool(rpc_port_parcel_h h, bool* b);
int rpc_port_parcel_read_bundle(rpc_port_parcel_h h, bundle** b);
int rpc_port_parcel_read_array_count(rpc_port_parcel_h h, int* count);
int rpc_port_parcel_burst_read(rpc_port_parcel_h h, unsigned char* buf, unsigned int size);

/* The header belongs to the parcel. Release a returned tag with free(). */
int rpc_port_parcel_get_header(rpc_port_parcel_h h, rpc_port_parcel_header_h* header);
int rpc_port_parcel_header_set_tag(rpc_port_parcel_header_h header, const char* tag);
int rpc_port_parcel_header_get_tag(rpc_port_parcel_header_h header, char** tag);
int rpc_port_parcel_header_set_seq_num(rpc_port_parcel_header_h header, int seq_num);
int rpc_port_parcel_header_get_seq_num(rpc_port_parcel_header_h header, int* seq_num);
int rpc_port_parcel_header_get_timestamp(rpc_port_parcel_header_h header,
                                         struct timespec* timestamp);

/* The encoded parcel. The memory belongs to the parcel. */
int rpc_port_parcel_get_raw(rpc_port_parcel_h h, void** raw, unsigned int* size);

#ifdef __cplusplus
}
#endif

#endif
