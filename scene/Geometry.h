#pragma once
// Geometry objects: a triangle mesh, a set of round curves or a set of custom
// primitives, each with up to seven typed device buffers (slots), its
// shader-data record and its own acceleration structure. One copy exists per
// device; all copies share one id.

#include "core/CuBuffer.h"
#include "core/DeviceBound.h"
#include "GeometryData.h"
#include "HitProgram.h"
#include "Material.h"

#include "programs/Modules.h"

#include "core/optix7.h"

#include <functional>
#include <map>
#include <string>

// Whether writing `slot` of a geometry of `type` makes its acceleration
// structure stale.
bool shouldMarcAccelDirty(geoPrimirivesType type, geoBufferIndicex slot);

class GeometryBase : public DeviceBound {
public:
    GeometryBase() : DeviceBound(kLabel) {}
    GeometryBase(int device, cudaStream_t stream, unsigned id, geoPrimirivesType type,
                 unsigned material);
    virtual ~GeometryBase();
    GeometryBase(const GeometryBase&) = delete;
    GeometryBase& operator=(const GeometryBase&) = delete;

    // (Re)creates the radiance and occlusion hit groups when a program of the
    // material or the intersection changed, a group is missing, the material
    // was switched, or `force` is set. Always true.
    bool createHitModules(Modules& modules, Material& material, bool force);
    OptixProgramGroup radianceHitGroup() const { return m_radiance_hit_group; }
    OptixProgramGroup occlusionHitGroup() const { return m_occlusion_hit_group; }

    // Builds the acceleration structure from the slots; false only when the
    // kind cannot be built. See the build notes in GeometryAccel.cpp.
    virtual bool buildMeshAccel(OptixDeviceContext_t* const& context, bool relocationInfo,
                                bool releaseInputs) = 0;
    // Copies and relocates a structure built for the same geometry on another
    // device; false when the structure is not compatible with `dstContext`.
    bool relocateMeshAccel(const GeometryBase& srcGeom, OptixDeviceContext_t* const& dstContext);

    // Slot operations; false when the slot does not exist (or, for
    // createBuffer, exists with another element size).
    bool createBuffer(size_t buf_idx, size_t count, size_t elsize);
    bool resizeBuffer(size_t buf_idx, size_t count);
    bool uploadBuffer(size_t buf_idx, const void* data, size_t count);
    bool uploadBufferAsync(size_t buf_idx, const void* data, size_t count);
    bool downloadBuffer(size_t buf_idx, void* data, size_t n_primitives) const;
    bool freeBuffer(size_t buf_idx);

    void setConstColor(const float3& color);
    void setMaterial(unsigned material);
    void streamSync() const;
    void destroyGroups();

    geoPrimirivesType type() const { return m_type; }
    unsigned id() const { return m_data.geometry_id; }
    unsigned material() const { return m_material_id; }
    unsigned primitiveCount() const { return m_data.n_primitives; }
    const GeometryData& data() const { return m_data; }
    const std::map<size_t, CuBuffer>& buffers() const { return m_buffers; }
    OptixTraversableHandle gasHandle() const { return m_gas_handle; }
    CUdeviceptr gasBuffer() const { return m_gas_output_buffer; }
    size_t gasBufferSize() const { return m_gas_buffer_size; }
    const OptixRelocationInfo& gasInfo() const { return m_gas_info; }
    // The object-to-world matrix, 4x4 row-major; instances take its first three rows.
    const float* transform() const { return m_transform; }

    bool m_accel_dirty = false;
    bool m_sbt_dirty = false;

    static constexpr const char* kLabel = "Geometry.cpp";

protected:
    // The intersection program of the kind's hit groups: module and entry
    // (none for triangles; a built-in module for curves).
    struct Intersection {
        OptixModule module;
        const char* entry;
    };
    virtual Intersection intersection(Modules& modules, bool force) = 0;
    virtual bool intersectionDirty() const { return false; }
    // Destructors of geometry do not throw: a failure is printed and ends the process.
    static void releaseOrTerminate(const std::function<void()>& release) noexcept;
    // Shared by the three kinds: builds the input with compaction, falling back
    // to host scratch memory, then to a build without compaction.
    // `inputsConsumed` runs once a compacting build has used its inputs.
    bool buildAccel(OptixDeviceContext context, const OptixBuildInput& input, bool relocationInfo,
                    const char* nonCompactible, void (*inputsConsumed)(GeometryBase&));
    // Grows (fresh memory) or shrinks (count only) a slot to `count` elements.
    static void fit(CuBuffer& buffer, size_t count);
    void freeAccel();

    geoPrimirivesType m_type = geoPrimitives0;
    float m_transform[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
    std::map<size_t, CuBuffer> m_buffers;
    GeometryData m_data;
    OptixRelocationInfo m_gas_info = {};
    OptixTraversableHandle m_gas_handle = 0;
    CUdeviceptr m_gas_output_buffer = 0;
    size_t m_gas_buffer_size = 0;
    unsigned m_material_id = 0;
    OptixProgramGroup m_radiance_hit_group = nullptr;
    OptixProgramGroup m_occlusion_hit_group = nullptr;
    bool m_material_switched = false; // the hit groups name the old material's programs

private:
    bool upload(size_t buf_idx, const void* data, size_t count, bool async);
    // The record follows a slot's buffer: its address, and for slot 0 the
    // primitive count; a change makes the record dirty.
    void recordSlot(size_t buf_idx, const CuBuffer& buffer);
    // fit(), then recordSlot() whether or not the allocation succeeded.
    void fitRecorded(size_t buf_idx, CuBuffer& buffer, size_t count);
};

class GeometryTriangles : public GeometryBase {
public:
    using GeometryBase::GeometryBase;
    bool buildMeshAccel(OptixDeviceContext_t* const& context, bool relocationInfo,
                        bool releaseInputs) override;

protected:
    Intersection intersection(Modules&, bool) override { return {nullptr, nullptr}; }
};

class GeometryBSplines : public GeometryBase {
public:
    using GeometryBase::GeometryBase;
    bool buildMeshAccel(OptixDeviceContext_t* const& context, bool relocationInfo,
                        bool releaseInputs) override;

protected:
    Intersection intersection(Modules& modules, bool force) override;
};

class GeometryPrimitives : public GeometryBase {
public:
    // `program` names the intersection program as "file::function"; its text
    // is loaded at once. Throws "IS program name not valid." for a bad name.
    GeometryPrimitives(int device, cudaStream_t stream, unsigned id, geoPrimirivesType type,
                       unsigned material, const std::string& program);
    ~GeometryPrimitives() override;

    bool buildMeshAccel(OptixDeviceContext_t* const& context, bool relocationInfo,
                        bool releaseInputs) override;
    // Computes one box per primitive into the box buffer (on the device);
    // false for kinds without boxes or with missing inputs.
    bool applyPreprocessing();
    // Whether applyPreprocessing computes boxes for the kind.
    static bool hasBoxes(geoPrimirivesType type);
    // Takes the boxes computed for the same geometry on another device.
    bool relocateAabb(const GeometryPrimitives& src);
    // Frees the boxes once no build needs them.
    void releaseBoxes() { m_aabb.free(); }

    // The displacement texture's sampler and size go into the record.
    void setDisplacement(unsigned texture, cudaTextureObject_t sampler, int width, int height);
    unsigned displacementTexture() const { return m_displacement_texture; }
    const CuBuffer& aabb() const { return m_aabb; }
    HitProgram& intersectionProgram() { return m_intersection; }

protected:
    Intersection intersection(Modules& modules, bool force) override;
    bool intersectionDirty() const override { return m_intersection.dirty; }

private:
    CuBuffer m_aabb;
    HitProgram m_intersection;
    unsigned m_displacement_texture = 0;
};
