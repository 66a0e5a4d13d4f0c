/*
 * Blocks of a conversion worked on by threads and handed back in order.
 * Internal to the library.
 *
 * The caller's thread fills a block, submits it, and takes the blocks back
 * oldest first once they are done; worker threads do the work in between.
 * A fixed ring of blocks is reused, so that the memory in use does not grow
 * with the file. The workers live only as long as the pipeline: the
 * destructor stops and joins them.
 */
#ifndef ORVPOINTFILE_BLOCKPIPELINE_P_H
#define ORVPOINTFILE_BLOCKPIPELINE_P_H

#include <condition_variable>
#include <functional>
#include <mutex>
#include <algorithm>
#include <thread>
#include <vector>

namespace PointFile {

template <typename Block>
class BlockPipeline
{
public:
    using Work = std::function<void(Block&)>;

    // With no threads, submit() does the work itself.
    BlockPipeline(int threads, int depth, Work work)
        : m_work(std::move(work))
        , m_blocks(size_t(depth))
        , m_done(size_t(depth), false)
        , m_failed(size_t(depth), false)
    {
        // Where no more threads can be had (a limit of processes, a 32-bit
        // address space), the ones that started do the work; with none,
        // submit() does it. Nothing may leave the loop as an exception:
        // the destructor would not run to join the threads that started.
        m_threads.reserve(size_t(std::max(threads, 0)));
        for (int i = 0; i < threads; ++i) {
            try {
                m_threads.emplace_back([this] { runWorker(); });
            } catch (...) {
                break; // std::system_error, or std::bad_alloc for its state
            }
        }
    }

    ~BlockPipeline()
    {
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_stopping = true;
        }
        m_workAvailable.notify_all();
        for (std::thread& thread : m_threads)
            thread.join();
    }

    BlockPipeline(const BlockPipeline&) = delete;
    BlockPipeline& operator=(const BlockPipeline&) = delete;

    int depth() const { return int(m_blocks.size()); }
    bool full() const { return m_submitted - m_released == m_blocks.size(); }
    bool pending() const { return m_submitted > m_released; }

    // The block to fill next; only when !full().
    Block& next() { return m_blocks[m_submitted % m_blocks.size()]; }

    // Hands the block from next() to the workers.
    void submit()
    {
        const size_t index = m_submitted % m_blocks.size();
        if (m_threads.empty()) {
            m_failed[index] = !runGuarded(m_blocks[index]);
            m_done[index] = true;
            ++m_submitted;
            return;
        }
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_done[index] = false;
            ++m_submitted;
        }
        m_workAvailable.notify_one();
    }

    // Waits for the oldest submitted block; false when its work threw.
    bool waitOldest()
    {
        const size_t index = m_released % m_blocks.size();
        std::unique_lock<std::mutex> lock(m_mutex);
        m_blockDone.wait(lock, [this, index] { return bool(m_done[index]); });
        return !m_failed[index];
    }
    Block& oldest() { return m_blocks[m_released % m_blocks.size()]; }

    // The oldest block is free again.
    void release()
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_done[m_released % m_blocks.size()] = false;
        ++m_released;
    }

private:
    bool runGuarded(Block& block)
    {
        try {
            m_work(block);
            return true;
        } catch (...) { // out of memory in a worker: the conversion fails
            return false;
        }
    }

    void runWorker()
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        for (;;) {
            m_workAvailable.wait(lock, [this] { return m_stopping || m_taken < m_submitted; });
            if (m_stopping)
                return;
            const size_t index = m_taken++ % m_blocks.size();
            lock.unlock();
            const bool ok = runGuarded(m_blocks[index]);
            lock.lock();
            m_failed[index] = !ok;
            m_done[index] = true;
            m_blockDone.notify_all();
        }
    }

    Work m_work;
    std::vector<Block> m_blocks;
    std::vector<char> m_done;   // per block, under m_mutex
    std::vector<char> m_failed; // per block, under m_mutex
    std::vector<std::thread> m_threads;
    std::mutex m_mutex;
    std::condition_variable m_workAvailable;
    std::condition_variable m_blockDone;
    size_t m_submitted = 0; // written by the caller under m_mutex
    size_t m_taken = 0;     // under m_mutex
    size_t m_released = 0;  // written by the caller under m_mutex
    bool m_stopping = false;
};

} // namespace PointFile

#endif
