// The renderer's readback stages and output images: the stage applied to
// every frame, a second one made on demand, and single-pixel reads.

#include "core/PathTracer.h"

#include <cstring>

std::unique_ptr<Readback> PathTracer::obtainReadback(readbackMode mode)
{
    // A replaced stage of this format and size is as good as a new one, and
    // reusing it keeps repeated replacements from piling up memory.
    for (auto it = m_retiredReadbacks.begin(); it != m_retiredReadbacks.end(); ++it)
        if ((*it)->format() == mode && unsigned((*it)->width()) == m_width &&
            unsigned((*it)->height()) == m_height) {
            std::unique_ptr<Readback> stage = std::move(*it);
            m_retiredReadbacks.erase(it);
            return stage;
        }
    return makeReadback(mode, m_primaryDevice, m_states.front().stream);
}

void PathTracer::retireReadback(std::unique_ptr<Readback> stage)
{
    if (stage)
        m_retiredReadbacks.push_back(std::move(stage));
}

bool PathTracer::setReadback(readbackMode mode)
{
    if (unsigned(mode) > READBACK_BGRA16)
        return false;
    std::unique_ptr<Readback> stage = obtainReadback(mode);
    stage->resize(m_width, m_height);
    retireReadback(std::move(m_readback));
    m_readback = std::move(stage);
    return true;
}

void* PathTracer::getOutputBuffer2(readbackMode mode)
{
    if (!m_readback2 || m_readback2->mode() != mode) {
        retireReadback(std::move(m_readback2));
        if (unsigned(mode) < READBACK_RGBA8 || unsigned(mode) > READBACK_BGRA32)
            return nullptr;
        m_readback2 = obtainReadback(mode);
    }
    if (unsigned(m_readback2->width()) != m_width || unsigned(m_readback2->height()) != m_height)
        m_readback2->resize(m_width, m_height);
    syncAllDevices();
    makeCurrent(m_states.front());
    m_readback2->apply(outputImage().map());
    if (m_scaleFactor < 2)
        m_image.unmap();
    return m_readback2->hostPointer();
}

bool PathTracer::pointIndex(unsigned x, unsigned y, size_t& index) const
{
    const unsigned f = m_scaleFactor;
    const unsigned width = m_width / f;
    // Outside the image there is nothing to read.
    if (x / f >= width || y / f >= m_height / f || !m_hitPosImage.width())
        return false;
    index = size_t(x / f) + size_t(y / f) * width;
    return true;
}

bool PathTracer::readHitPosAtPoint(unsigned x, unsigned y, float4& out)
{
    size_t index = 0;
    if (!pointIndex(x, y, index))
        return false;
    std::memcpy(&out, m_hitPosImage.getHostPointer() + index, sizeof(float4));
    return true;
}

bool PathTracer::readGeomIdAtPoint(unsigned x, unsigned y, unsigned out[4])
{
    size_t index = 0;
    if (!pointIndex(x, y, index))
        return false;
    const uint2 id = m_idImage.getHostPointer()[index];
    out[0] = id.x & 0x3FFFFFFF;
    out[1] = unsigned(getGeometryType(out[0]));
    out[2] = id.y;
    out[3] = id.x >> 30;
    return true;
}
