// Which worker serves a target thread, what hangs on that worker, and how wide the target's pointers are.
#include "object_manager/registry.h"
#include "object_manager/zelvar_object_manager.h"
#include "sidechannel_log.h"
#include "workers/zelvar_context_worker.h"

#include <cstdlib>
#include <new>

namespace {
constexpr size_t staging_size = 0x400000;

// Both under pid_to_process_data_map_common_cs.
bool workers_accepted = false;
/// Semaphores of threads that ask the target without having a worker, as tests do.
std::map<process_thread_pair, std::shared_ptr<semaphore__>>& workerless_semaphores =
    *new std::map<process_thread_pair, std::shared_ptr<semaphore__>>;

/// Scratch memory of workers that outlived the registry.
std::vector<std::shared_ptr<uint8_t[]>>& kept_scratch = *new std::vector<std::shared_ptr<uint8_t[]>>;

std::shared_ptr<uint8_t[]> make_staging_buffer()
{
    return {static_cast<uint8_t*>(std::calloc(1, staging_size)), std::free};
}

std::shared_ptr<semaphore__> make_semaphore()
{
    return {semaphore_create(0), [](semaphore__* semaphore) {
                if (semaphore)
                    semaphore_release(semaphore);
            }};
}

zelvar_context_worker_data make_worker(process_thread_pair owner, uint32_t target_bit)
{
    zelvar_context_worker_data made;
    made.worker = zelvar_context_worker_create();
    if (target_bit == 32)
        made.message_buffer = make_staging_buffer();
    if (auto early = workerless_semaphores.extract(owner))
        made.response_semaphore = std::move(early.mapped());
    return made;
}

void create_process_records(pid_t pid, uint32_t message_type,
                            _zelvar_object_manager_process_common_data& common)
{
    if (message_type > wire::inbound::first_api_type && message_type < wire::inbound::first_vulkan_type) {
        if (!common.gles_record_created) {
            Autolock process_lock{pid_to_process_data_map_cs};
            pid_to_process_data_map.try_emplace(pid);
            common.gles_record_created = true;
        }
    } else if (message_type >= wire::inbound::first_vulkan_type && !common.vk_record_created) {
        Autolock vk_lock{pid_to_process_data_map_vk_cs};
        pid_to_process_data_map_vk.try_emplace(pid);
        common.vk_record_created = true;
    }
}

std::shared_ptr<_zelvar_context_worker> find_or_make_worker(pid_t pid, tid_t tid, uint32_t message_type)
{
    Autolock common_lock{pid_to_process_data_map_common_cs};
    if (!workers_accepted)
        return nullptr;
    auto& common = pid_to_process_data_map_common[pid];
    auto entry = common.workers.find(tid);
    if (entry == common.workers.end())
        entry = common.workers.emplace(tid, make_worker({pid, tid}, common.target_bit)).first;
    create_process_records(pid, message_type, common);
    return entry->second.worker;
}

/// Takes the entry of a thread's worker; null when it has none. Under pid_to_process_data_map_common_cs.
zelvar_context_worker_data* find_worker(pid_t pid, tid_t tid)
{
    auto common = pid_to_process_data_map_common.find(pid);
    if (common == pid_to_process_data_map_common.end())
        return nullptr;
    auto entry = common->second.workers.find(tid);
    return entry == common->second.workers.end() ? nullptr : &entry->second;
}
} // namespace

bool zelvar_object_manager_get_worker_for_target_tid_pid(pid_t pid, tid_t tid, uint32_t message_type,
                                                         std::shared_ptr<_zelvar_context_worker>* worker)
{
    // The simulator's thread ends here: out of memory means a message without a worker, never an exception.
    try {
        *worker = find_or_make_worker(pid, tid, message_type);
    } catch (const std::bad_alloc&) {
        worker->reset();
    }
    return true;
}

void zelvar_object_manager_delete_all_worker_for_pid(pid_t pid)
{
    Autolock common_lock{pid_to_process_data_map_common_cs};
    auto common = pid_to_process_data_map_common.find(pid);
    if (common == pid_to_process_data_map_common.end())
        return;
    // The caller runs on one of these workers and its decoder may still read the scratch memory, so the
    // release takes that along and frees it when the worker is done.
    for (auto& [tid, entry] : common->second.workers)
        if (entry.worker)
            zelvar_context_worker_release(std::move(entry.worker), true, std::move(entry.message_buffer));
    common->second.workers.clear();
}

void zelvar_object_manager_stop_all_workers()
{
    std::vector<std::shared_ptr<_zelvar_context_worker>> stopped;
    // A running decoder may still read its scratch memory.
    std::vector<std::shared_ptr<uint8_t[]>> scratch;
    {
        Autolock common_lock{pid_to_process_data_map_common_cs};
        workers_accepted = false;
        for (auto& [pid, common] : pid_to_process_data_map_common) {
            for (auto& [tid, entry] : common.workers) {
                if (entry.worker)
                    stopped.push_back(std::move(entry.worker));
                scratch.push_back(std::move(entry.message_buffer));
                // Nobody will confirm any more.
                if (entry.response_semaphore)
                    semaphore_raise(entry.response_semaphore.get());
            }
            common.workers.clear();
        }
    }
    constexpr uint64_t patience = 2'000'000'000; // nanoseconds
    if (size_t left = zelvar_context_worker_stop_all(stopped, patience)) {
        LOG_WARN("%d workers wait for their targets and stay.", static_cast<int>(left));
        // What they may still touch stays with them.
        kept_scratch.insert(kept_scratch.end(), scratch.begin(), scratch.end());
    }
}

std::shared_ptr<semaphore__> zelvar_object_manager_get_response_semaphore(pid_t pid, tid_t tid)
{
    Autolock common_lock{pid_to_process_data_map_common_cs};
    auto* entry = find_worker(pid, tid);
    auto& semaphore = entry ? entry->response_semaphore : workerless_semaphores[{pid, tid}];
    if (!semaphore)
        semaphore = make_semaphore();
    return semaphore;
}

bool zelvar_object_manager_set_target_bit(pid_t pid, tid_t tid, uint32_t bits)
{
    Autolock common_lock{pid_to_process_data_map_common_cs};
    auto common = pid_to_process_data_map_common.find(pid);
    if (common == pid_to_process_data_map_common.end()) {
        LOG_FATAL("Could not find process data instance for process id [%d]", pid);
        return false;
    }
    common->second.target_bit = bits;
    // Workers of other threads that exist already keep none.
    if (auto* entry = find_worker(pid, tid); entry && bits == 32 && !entry->message_buffer)
        entry->message_buffer = make_staging_buffer();
    return true;
}

uint32_t zelvar_object_manager_get_target_bit(pid_t pid, tid_t tid, void** staging)
{
    Autolock common_lock{pid_to_process_data_map_common_cs};
    auto common = pid_to_process_data_map_common.find(pid);
    if (common == pid_to_process_data_map_common.end())
        return 0;
    if (staging) {
        auto* entry = find_worker(pid, tid);
        *staging = entry ? entry->message_buffer.get() : nullptr;
    }
    return common->second.target_bit;
}

void registry::accept_workers(bool accept)
{
    Autolock common_lock{pid_to_process_data_map_common_cs};
    workers_accepted = accept;
}

void registry::clear_response_semaphores()
{
    Autolock common_lock{pid_to_process_data_map_common_cs};
    workerless_semaphores.clear();
}
