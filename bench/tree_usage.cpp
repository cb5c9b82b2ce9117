// Runs a command and reports its wall time and the peak resident memory of the command together
// with every process it started, sampled every 2 ms (GNU time counts only the largest one, which
// would leave out a helper process running beside its parent).
//   tapisol-tree-usage command args...   ->   "<wall ms> <peak KiB>" on stderr
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <dirent.h>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

// Parent of every process, from /proc/<pid>/stat.
std::map<int, int> parents()
{
    std::map<int, int> result;
    DIR* proc = opendir("/proc");
    if (!proc)
        return result;
    while (dirent* entry = readdir(proc)) {
        const int pid = std::atoi(entry->d_name);
        if (pid <= 0)
            continue;
        std::ifstream stat("/proc/" + std::string(entry->d_name) + "/stat");
        std::string line;
        if (!std::getline(stat, line))
            continue;
        const auto close = line.rfind(')');
        if (close == std::string::npos)
            continue;
        std::istringstream rest(line.substr(close + 2));
        char state = 0;
        int parent = 0;
        rest >> state >> parent;
        result[pid] = parent;
    }
    closedir(proc);
    return result;
}

long residentKib(int pid)
{
    std::ifstream status("/proc/" + std::to_string(pid) + "/status");
    std::string line;
    while (std::getline(status, line)) {
        if (line.rfind("VmRSS:", 0) == 0)
            return std::atol(line.c_str() + 6);
    }
    return 0;
}

long treeResidentKib(int root)
{
    const std::map<int, int> parent = parents();
    std::set<int> tree {root};
    for (bool grew = true; grew;) {
        grew = false;
        for (const auto& [pid, ppid] : parent) {
            if (tree.count(ppid) && tree.insert(pid).second)
                grew = true;
        }
    }
    long total = 0;
    for (int pid : tree)
        total += residentKib(pid);
    return total;
}

} // namespace

int main(int argc, char* argv[])
{
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s command args...\n", argv[0]);
        return 2;
    }
    const auto start = std::chrono::steady_clock::now();
    const pid_t child = fork();
    if (child == 0) {
        execvp(argv[1], argv + 1);
        _exit(127);
    }
    long peak = 0;
    int status = 0;
    while (waitpid(child, &status, WNOHANG) == 0) {
        peak = std::max(peak, treeResidentKib(child));
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    const double wall = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
    std::fprintf(stderr, "%.0f %ld\n", wall, peak);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 1;
}
