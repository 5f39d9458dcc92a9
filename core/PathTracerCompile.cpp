// Compiling a scene: structures on the primary device, copies or local builds
// on the others, the instance level, then pipelines and binding tables. Each
// step does work only where something changed.

#include "PathTracer.h"

#include "CUDABuffer.h"

#include <iostream>

T7_CHECK_LABEL(PathTracer::kLabel);

bool PathTracer::compileFailed(const std::string& problem)
{
    if (m_compileProblem.empty())
        m_compileProblem = problem;
    return false;
}

bool PathTracer::compileScene()
{
    m_compileProblem.clear();
    const bool several = m_states.size() > 1;
    PathTracerState& primary = m_states.front();
    if (!buildGAS(primary, several)) {
        std::cout << "compile: preprocessing/GAS failed on primary dev." << std::endl;
        return false;
    }
    bool relocated = true;
    if (several && m_ias_dirty) {
        for (size_t i = 1; i < m_states.size(); ++i)
            if (!relocateGAS(primary, m_states[i], relocated)) {
                compileFailed("Device " + std::to_string(m_states[i].device_idx) +
                              ": a geometry has no structure on the primary device to copy.");
                std::cout << "compile: preprocessing/GAS failed on secondary dev." << std::endl;
                return false;
            }
        // The copies are made: the primary's boxes are no longer needed.
        for (auto& entry : primary.primitives)
            entry.second.releaseBoxes();
    }
    if (m_ias_dirty) {
        buildIAS(primary, several);
        for (size_t i = 1; i < m_states.size(); ++i)
            if (!relocated || !relocateIAS(primary, m_states[i]))
                buildIAS(m_states[i], false);
        m_ias_dirty = false;
    }
    if (!compilePipelines())
        return false;
    compileSBT();
    forEachState([&](PathTracerState& state) { initLaunchParams(state); });
    return true;
}
