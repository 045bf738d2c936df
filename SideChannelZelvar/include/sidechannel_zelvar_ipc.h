#pragma once
// What is left of the inter-process layer: two values and their set-up. All traffic goes through the
// simulator's channel objects.

void sidechannel_ipc_init_zelvar();
void sidechannel_ipc_deinit_zelvar();
/// Marks the server as started, once; opens nothing and returns false.
bool sidechannel_ipc_start_server();
