#pragma once
// One renderer instance. Declared once here; its methods are defined in the
// folder of the subsystem they belong to.

#include "PathTracerState.h"
#include "ShaderVariables.h"

#include "api/trevix7.h"
#include "output/CUDAOutputBuffer.h"
#include "output/Camera.h"
#include "output/Postprocessing.h"
#include "output/Readback.h"
#include "output/Trackball.h"

#include <cuda_runtime.h>

#include <atomic>
#include <initializer_list>
#include <map>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

class PathTracer {
public:
    template <typename T> using VariableMap = std::map<std::string, T>;

    // Chooses the devices (all capable ones when `devices` is empty), creates
    // one OptiX context, stream and launch-parameter block on each, and sets up
    // the output. Throws sutil::Exception when no device can be used, and
    // "Readback mode not supported." for a mode above 4.
    PathTracer(unsigned width, unsigned height, readbackMode mode,
               const VariableMap<int>& intVariables, const VariableMap<unsigned>& uintVariables,
               const VariableMap<uint2>& uint2Variables, const VariableMap<float>& floatVariables,
               const VariableMap<float2>& float2Variables,
               const VariableMap<float3>& float3Variables, const std::vector<unsigned>& devices,
               int logLevel);
    ~PathTracer();
    PathTracer(const PathTracer&) = delete;
    PathTracer& operator=(const PathTracer&) = delete;

    // --- Start-up (process-wide) ---
    // Starts CUDA and loads OptiX on the first call; returns the device count,
    // or -1 when start-up failed. Never retried.
    static int initOptix();
    // major * 100 + minor * 10 of a device, 0 when it does not exist.
    static int getGpuComputeCap(unsigned device);

    // Label of the messages of every PathTracer method, wherever it is defined.
    static constexpr const char* kLabel = "PathTracer.cpp";

    // --- Per-device state ---
    static void makeCurrent(const PathTracerState& state);
    void initLaunchParams(PathTracerState& state);
    // CUDA ordinal of the state at `index`, -1 past the last state.
    int cudaOrdinal(unsigned index) const;
    // Ordinal of the device that holds the output images.
    int outputCudaOrdinal() const { return m_primaryDevice; }
    const std::vector<PathTracerState>& states() const { return m_states; }

    // --- Frames (core/) ---
    // Renders a batch of `count` passes on every device, gathers them into the
    // image, runs the post-processing stages and the readback. Returns 1 when
    // the accumulation has now reached maxFrames, 0 when more passes remain
    // (or the batch was broken off before its first pass), 2 without
    // rendering when it was already complete, and 0x901 when the compilation
    // failed (the running flag then stays set).
    unsigned launch(unsigned count, unsigned maxFrames);
    // While a launch runs (from any thread): the batch ends after one more
    // pass, which carries the last-pass flag; gives 1. Otherwise the pending
    // request (0 or 1), unchanged.
    int breakLaunch();
    void clearAccumulation() { m_accumFrames = 0; }
    unsigned accumFrames() const { return m_accumFrames; }
    unsigned totalFrames() const { return m_totalFrames; }

    // --- Shader variables (core/) ---
    // Every variable: the lists' values, defaults for the others; the light,
    // camera-texture and background fields of the launch parameters and the
    // post-processing samplers are cleared, to be filled again.
    void setVariables(const VariableMap<int>& ints, const VariableMap<unsigned>& uints,
                      const VariableMap<uint2>& uint2s, const VariableMap<float>& floats,
                      const VariableMap<float2>& float2s, const VariableMap<float3>& float3s);
    // Only the variables named; the others keep their values.
    void updateVariables(const VariableMap<int>& ints, const VariableMap<unsigned>& uints,
                         const VariableMap<uint2>& uint2s, const VariableMap<float>& floats,
                         const VariableMap<float2>& float2s, const VariableMap<float3>& float3s);
    const ShaderVariables& variables() const { return m_variables; }
    // Gamma and exposure of the post-processing, also in every device's
    // launch parameters.
    void setPostprocGamma(float gamma, float scale);

    // --- Post-processing (output/) ---
    // Appends the stage of `algorithm` (levels for 0, 1 and anything above
    // 9); the denoiser kinds (7 LDR, 8 HDR, 9 2x upscaling) put a denoiser in
    // front, with the requested guides, and 9 halves the render size. Throws
    // "Denoiser already implemented!" for a second denoiser.
    void addPostprocessing(postprocAlgorithm algorithm);
    bool hasDenoiser() const;
    void setPostprocLevels(const float3& low, const float3& high);
    // The stage textures, by texture id of the primary device; a change
    // restarts accumulation. Throws "<stage> texture not found." for an
    // unknown id.
    bool setPostprocTonemapGrayTexture(unsigned int id);
    bool setPostprocTonemapRedTexture(unsigned int id);
    bool setPostprocTonemapGreenTexture(unsigned int id);
    bool setPostprocTonemapBlueTexture(unsigned int id);
    bool setPostprocAddTexture(unsigned int id);
    bool setPostprocMulTexture(unsigned int id);
    // After textures were recreated: the stage textures' samplers (those of
    // the primary device are the ones the stages use).
    void updatePostprocTextureSamplers(PathTracerState& state);
    // The guides a denoiser added later asks for (3 albedo, 7 albedo and
    // normals, else none), its blend with the noisy image and the frame count
    // from which it acts.
    void setPostprocDenoiser(OptixDenoiserInputKind kind, float blend, unsigned int start);
    // The upscaled image: the output size while the render is scaled down.
    void resizeDenoiserBuffers();
    const std::vector<std::unique_ptr<Postprocessing>>& postprocessing() const
    {
        return m_postprocessing;
    }
    const PostprocParams& postprocParams() const { return m_postprocParams; }
    unsigned scaleFactor() const { return m_scaleFactor; }

    // --- Sample buffers (core/) ---
    // The output size: the readback stage, the output images and every
    // device's sample buffers follow it, and accumulation restarts. After a
    // failure the previous size is restored as far as memory allows; what
    // cannot be restored is left empty, and launches then fail cleanly.
    void resize(unsigned width, unsigned height);
    // Sizes one device's sample buffers for `deviceCount` devices and fills
    // its sample list. Each buffer falls back to mapped host memory.
    void allocIOBuffers(PathTracerState& state, int deviceCount);
    void allocIndicesBuffer(PathTracerState& state);
    void allocAccumBuffer(PathTracerState& state);
    void allocL2Buffer(PathTracerState& state);
    void allocAlbedoBuffer(PathTracerState& state);
    void allocNormalBuffer(PathTracerState& state);
    // Releases one device's sample buffers (the device must be current).
    static void freeIOBuffers(PathTracerState& state);
    // Keeping the albedo or normal image; a change reallocates and restarts
    // accumulation. A change that cannot be allocated is undone.
    void setSaveAlbedoState(bool save);
    void setSaveNormalsState(bool save);

    // --- Readback and output images (output/) ---
    // Modes 0 to 4 replace the stage that converts every frame; any other
    // mode gives false and keeps it. A replaced stage's memory stays valid
    // until the instance is destroyed.
    bool setReadback(readbackMode mode);
    // A second conversion of the current image into `mode` (1 to 6), made on
    // demand: its host pointer, or null for any other mode.
    void* getOutputBuffer2(readbackMode mode);
    Readback& readback() { return *m_readback; }
    Readback* secondaryReadback() { return m_readback2.get(); }
    // The float4 image the readback converts: render size, or the upscaled
    // image when the output scale factor is above 1.
    CUDAOutputBuffer<float4>& outputImage() { return m_scaleFactor > 1 ? m_upscaledImage : m_image; }
    CUDAOutputBuffer<float4>& hitPosImage() { return m_hitPosImage; }
    CUDAOutputBuffer<uint2>& idImage() { return m_idImage; }
    // 0 x 0 while they are not kept.
    CUDAOutputBuffer<float4>& albedoImage() { return m_albedoImage; }
    CUDAOutputBuffer<float4>& normalImage() { return m_normalImage; }
    // One pixel of the hit-position or id image at output coordinates; false,
    // with nothing written, outside the image. The id read gives the geometry
    // id (low 30 bits of the first word), its type, the second word and the
    // two top bits.
    bool readHitPosAtPoint(unsigned x, unsigned y, float4& out);
    bool readGeomIdAtPoint(unsigned x, unsigned y, unsigned out[4]);
    bool hitDirty() const { return m_hit_dirty; }
    bool pipelineDirty() const { return m_pipeline_dirty; }
    bool sbtDirty() const { return m_sbt_dirty; }
    bool iasDirty() const { return m_ias_dirty; }

    // --- Cameras (output/) ---
    // A new camera under the next process-wide id (the first is 1); it is
    // not made current. The aspect is taken from the output size.
    unsigned setupCamera(std::string name, const float3& eye, const float3& target,
                         const float3& up, float fov, float rxy, const float2& cxy,
                         float aperture, float lens1, float focus, float lens2, float lens3,
                         float lens4, bool glock, const std::vector<unsigned int>& textures);
    // Makes the camera current: its program when the name differs from the
    // current camera's, the trackball attached to it, and updateCamera().
    // False for an unknown id or a program name without "::" (nothing then
    // changes); true at once when it is current already.
    bool setCurrentCamera(unsigned id, char* error);
    // Publishes the current camera into every device's launch parameters and
    // restarts accumulation; false when there is no current camera. Throws
    // "Camera texture 0 not found." or "Camera texture 1 not found.".
    bool updateCamera();
    unsigned currentCamera() const { return m_currentCamera; }
    // Getters and setters give false for an unknown id, leaving outputs
    // untouched. The frame setters (eye, target, up, fov, rxy, cxy) attach
    // the trackball to the camera. None of them publishes: updateCamera does.
    bool getCameraGLock(unsigned id) const;
    bool setCameraGLock(unsigned id, bool glock);
    bool getCameraEye(unsigned id, float3* eye) const;
    bool setCameraEye(unsigned id, const float3& eye);
    bool getCameraTarget(unsigned id, float3* target) const;
    bool setCameraTarget(unsigned id, const float3& target);
    bool getCameraUp(unsigned id, float3* up) const;
    bool setCameraUp(unsigned id, const float3& up);
    bool setCameraFocus(unsigned id, float focus);
    bool setCameraFov(unsigned id, float fov);
    bool setCameraRxy(unsigned id, float rxy);
    bool setCameraCxy(unsigned id, const float2& cxy);
    bool setCameraAperture(unsigned id, float aperture);
    // A trackball drag of the camera: the eye orbits the target, or the
    // target turns around the eye; the deltas are truncated to integers.
    bool rotateCameraEye(unsigned id, float dx, float dy);
    bool rotateCameraTarget(unsigned id, float dx, float dy);
    Trackball& trackball() { return m_trackball; }

    // --- Lights (scene/) ---
    // Replaces the whole light set; the devices get it at the next launch.
    void setupLights(LightData* lights, unsigned long count);
    // Mirrors the light set into one device's launch parameters: a new array
    // only when the count changed, then a copy.
    void updateLights(PathTracerState& state);
    bool lightsDirty() const { return m_lights_dirty; }

    // --- Programs and pipeline (programs/) ---
    // "file::function" of the camera (ray generation) and miss programs; false
    // for a reference without both parts. The file is loaded at once.
    bool setCameraProgram(const std::string& ref);
    bool setMissProgram(const std::string& ref);
    void createCameraModule(PathTracerState& state, bool force);
    void createMissModule(PathTracerState& state, bool force);
    // The hit groups of every geometry with primitives, or of the placeholder
    // in an empty scene. Throws "Material not found." for a missing material.
    void createHitModules(PathTracerState& state, bool force);
    // Links the device's pipeline from its groups, rebuilding those that are
    // dirty; false, with nothing touched, while no camera or miss program is set.
    bool createPipeline(PathTracerState& state);
    void destroyPipeline(PathTracerState& state);
    // The pipeline step of a compilation: every device's pipeline when it is
    // dirty; the program flags are cleared once all devices are done. Prints
    // "compile: pipelines failed." and gives false when one cannot be linked.
    bool compilePipelines();
    // Writes the device's binding table: ray generation, two miss records and
    // two hit records per geometry with primitives (the placeholder's when
    // there is none), in the pipeline's order. An unknown material id gets a
    // default material.
    void createSBT(PathTracerState& state);
    // The binding-table step of a compilation: every device's table when it
    // is dirty, then the geometries' and the renderer's flags are cleared.
    void compileSBT();
    // The geometries that take part in the scene on one device, in the order
    // of the pipeline, the binding table and the instances: custom primitives,
    // triangles, curves, each by id, those without primitives left out; the
    // placeholder alone when that leaves none.
    static std::vector<GeometryBase*> sceneGeometries(PathTracerState& state);
    bool cameraDirty() const { return m_camera_dirty; }
    bool missDirty() const { return m_miss_dirty; }

    // --- Acceleration structures (programs/) ---
    // Builds every geometry whose structure is stale (boxes first for custom
    // primitives), or the placeholder in an empty scene; recounts the
    // geometries with primitives. False when one cannot be built.
    bool buildGAS(PathTracerState& state, bool relocatable);
    // Gives dst copies of src's structures, building locally (and clearing
    // `relocated`) where a copy is not compatible. False when src lacks one.
    bool relocateGAS(const PathTracerState& src, PathTracerState& dst, bool& relocated);
    // The instance structure over the device's geometry structures.
    void buildIAS(PathTracerState& state, bool relocatable);
    // False, with nothing done, when dst cannot take src's instance structure.
    bool relocateIAS(const PathTracerState& src, PathTracerState& dst);

    // --- Compilation (core/) ---
    // Brings structures, pipelines and binding tables up to date on every
    // device; false, with its line printed, when a step fails, and then
    // compileProblem() names the geometry or program and the reason.
    bool compileScene();
    const std::string& compileProblem() const { return m_compileProblem; }

    // --- Textures (scene/) ---
    unsigned setupTexture(int width, int height, int channels, int bits, int addressMode,
                          const void* data);
    bool updateTexture(unsigned id, int width, int height, const void* data);
    // The background's sampler goes to the launch parameters of every device;
    // texture 0 means no background texture.
    bool setBackgroundTexture(unsigned id);

    // --- Materials (scene/) ---
    unsigned setupMaterial(const std::string& radiance, const std::string& occlusion,
                           const VariableMap<unsigned>& uintParams,
                           const VariableMap<float>& floatParams,
                           const VariableMap<float3>& float3Params,
                           const VariableMap<float4>& float4Params,
                           const MaterialTextureIds& textures, unsigned long tex_count);
    bool updateMaterial(unsigned id, const VariableMap<unsigned>& uintParams,
                        const VariableMap<float>& floatParams,
                        const VariableMap<float3>& float3Params,
                        const VariableMap<float4>& float4Params,
                        const MaterialTextureIds& textures, unsigned long tex_count);
    // After textures were recreated: every user of a texture on this device
    // picks up the current texture objects.
    void updateStateTextureSamplers(PathTracerState& state);

    // --- Geometry (scene/) ---
    // Slot maps give the element size in bytes of each slot to create.
    using SlotMap = std::map<size_t, size_t>;
    unsigned setupTrianglesGeometry(geoPrimirivesType type, const SlotMap& slots,
                                    unsigned material);
    unsigned setupBSplinesGeometry(geoPrimirivesType type, const SlotMap& slots,
                                   unsigned material);
    unsigned setupPrimitivesGeometry(geoPrimirivesType type, const std::string& program,
                                     const SlotMap& slots, unsigned material);
    bool uploadGeometryMeshFaces(unsigned id, const float3* v, size_t nv, const uint3* f,
                                 size_t nf);
    bool uploadGeometryMeshNormals(unsigned id, const float3* n, size_t nn, const uint3* ni,
                                   size_t nni);
    bool uploadGeometryMeshTexCoords(unsigned id, const float2* t, size_t nt, const uint3* ti,
                                     size_t nti);
    bool uploadGeometryBSplineIdx(unsigned id, const unsigned* indices, size_t n);
    bool uploadGeometryBuffers(unsigned id, size_t count, const std::map<size_t, void*>& data);
    bool downloadGeometryBuffer(unsigned id, size_t slot, unsigned count, void* out) const;
    bool freeGeometryBuffer(unsigned id, unsigned slot);
    bool setupConstColor(unsigned id, const float3& color);
    bool setupDisplacementTexture(unsigned id, unsigned texture);
    bool setupGeometryMaterial(unsigned id, unsigned material);
    geoPrimirivesType getGeometryType(unsigned id) const;
    bool deleteGeometry(unsigned id);

private:
    // Runs `step` on every device state in order. A step that returns bool
    // ends the walk at its first false, which is then the result.
    template <typename Step> bool forEachState(Step&& step)
    {
        for (PathTracerState& state : m_states) {
            if constexpr (std::is_same_v<decltype(step(state)), bool>) {
                if (!step(state))
                    return false;
            } else {
                step(state);
            }
        }
        return true;
    }

    // Builds a scene object under `id` on every device with `make(state, map)`.
    // A failure on one device removes the copies already made, so a failed
    // set-up leaves nothing behind.
    template <typename Map, typename Make>
    void addOnEveryState(Map PathTracerState::*map, unsigned id, Make&& make)
    {
        try {
            forEachState([&](PathTracerState& state) { make(state, state.*map); });
        } catch (...) {
            forEachState([&](PathTracerState& state) { (state.*map).erase(id); });
            throw;
        }
    }

    void selectDevices(const std::vector<unsigned>& requested, std::vector<int>& chosen) const;
    template <typename Geometry, typename... Extra>
    unsigned addGeometry(std::map<unsigned, Geometry> PathTracerState::*kind,
                         geoPrimirivesType type, const SlotMap& slots, unsigned material,
                         const Extra&... extra);
    // Geometry of any kind under `id` on one device, or null: custom
    // primitives, triangles, then curves; or triangles first.
    static GeometryBase* findGeometry(PathTracerState& state, unsigned id,
                                      bool trianglesFirst = false);
    // What a geometry's changes mean for the renderer after a data upload.
    void noteGeometryChange(const GeometryBase& geometry, unsigned primitivesBefore);
    // Runs `change` on one device's copy of a geometry and notes what it did,
    // also when it fails half-way.
    template <typename Change> void changeGeometry(GeometryBase& geometry, Change&& change);
    bool applyDisplacement(PathTracerState& state, GeometryPrimitives& geometry, unsigned texture);
    struct SlotData {
        size_t index;
        const void* data;
        size_t count;
    };
    template <typename Geometry>
    bool uploadAttributes(std::map<unsigned, Geometry> PathTracerState::*kind, unsigned id,
                          std::initializer_list<SlotData> slots);
    void startDevice(PathTracerState& state, int ordinal, int logLevel);
    static ShaderVariables readVariables(ShaderVariables from, const VariableMap<int>& ints,
                                         const VariableMap<unsigned>& uints,
                                         const VariableMap<uint2>& uint2s,
                                         const VariableMap<float>& floats,
                                         const VariableMap<float2>& float2s,
                                         const VariableMap<float3>& float3s);
    void applyVariables(const ShaderVariables& v);
    // Waits for every device (the synchronise check).
    void syncAllDevices();
    // Folds one device's batch of `count` passes into the images.
    // The batch after compilation: passes, gather, post-processing, readback.
    unsigned launchBatch(unsigned count, unsigned maxFrames);
    void gatherResults(PathTracerState& state, float4* image, float4* albedoImage,
                       float4* normalImage, float blend, unsigned frames, unsigned count);
    void applySize(unsigned width, unsigned height);
    // After a failed change: back to a size and flags that fitted before.
    void restoreSize(unsigned width, unsigned height) noexcept;
    // The buffers follow a change of what they depend on (kept images, the
    // denoiser's guides or scale); when they cannot, `undo` reverts the
    // change, the buffers fitting before are restored, and the error goes on.
    template <typename Undo> void reapplySize(Undo&& undo)
    {
        try {
            applySize(m_width, m_height);
        } catch (...) {
            undo();
            restoreSize(m_width, m_height);
            throw;
        }
    }
    void setSaveState(bool& flag, bool save);
    // Every image and sample buffer a launch writes exists at its size: false
    // after a resize whose restore failed too.
    bool outputsReady() const;
    // The guide kind of the denoiser stage, 0 while there is none.
    unsigned activeDenoiserKind() const { return hasDenoiser() ? m_activeDenoiserKind : 0; }
    bool setPostprocTexture(unsigned id, unsigned& field, cudaTextureObject_t& sampler,
                            const char* notFound);
    bool keepAlbedo() const { return m_saveAlbedo || activeDenoiserKind() == 3 || activeDenoiserKind() == 7; }
    bool keepNormals() const { return m_saveNormals || activeDenoiserKind() == 7; }
    // The blend value of the current camera (Camera::blend); 1.0, the exact
    // mean of all accumulated passes, while there is none.
    float cameraBlend() const;
    Camera* findCamera(unsigned id);
    const Camera* findCamera(unsigned id) const;
    // Attaches the trackball to the camera and takes its orientation.
    void attachTrackball(Camera& camera);
    // Runs `change` on the camera; false for an unknown id.
    template <typename Change> bool changeCamera(unsigned id, bool reframe, Change&& change);
    bool rotateCamera(unsigned id, int mode, float dx, float dy);
    // A stage for `mode` bound to the primary device, reusing a replaced one
    // of the same format and size; null for a mode outside 0 to 6.
    std::unique_ptr<Readback> obtainReadback(readbackMode mode);
    // Keeps a replaced stage alive, so pointers handed out stay valid.
    void retireReadback(std::unique_ptr<Readback> stage);
    // Index of output pixel (x, y) in the render-size images, or false.
    bool pointIndex(unsigned x, unsigned y, size_t& index) const;
    // Keeps the first reason a compilation failed for; gives false.
    bool compileFailed(const std::string& problem);
    // Builds one geometry's structure; custom primitives compute their boxes first.
    bool buildGeometry(GeometryBase& geometry, OptixDeviceContext context, bool relocatable);
    // The traversable handles of the instances, in instance order.
    static std::vector<OptixTraversableHandle> instanceHandles(PathTracerState& state);

    // Process-wide start-up state, never reset.
    static bool _optixInitialized;
    static int _deviceCount;
    static std::vector<cudaDeviceProp> _deviceProp;
    // Scene object ids are process-wide and never reused.
    static unsigned _textureCount;
    static unsigned _materialCount;
    static unsigned _geometryCount;
    static unsigned _cameraCount;

    // One state per chosen device, the primary device first. The list is built
    // once and never changes size, so states are never moved.
    std::vector<PathTracerState> m_states;
    int m_primaryDevice = -1;
    unsigned m_width = 0;
    unsigned m_height = 0;
    unsigned m_scaleFactor = 1;
    unsigned m_accumFrames = 0; // passes held by the image
    unsigned m_totalFrames = 0; // passes launched, never reset
    // One byte each; ApiBreakLaunch may touch them from another thread.
    std::atomic<bool> m_launchRunning{false};
    std::atomic<bool> m_breakRequested{false};
    bool m_saveAlbedo = false;
    bool m_saveNormals = false;
    // The sample buffers' running averages hold a gathered batch; until then
    // a batch is gathered as the whole image, whatever the blend value.
    bool m_sampleHistory = false;
    ShaderVariables m_variables;

    // What the next compile must redo: hit programs, pipeline, binding table.
    bool m_hit_dirty = true;
    bool m_pipeline_dirty = true;
    bool m_sbt_dirty = true;
    bool m_ias_dirty = true; // the instance structure must be rebuilt
    std::string m_compileProblem; // why the last compilation failed

    // Camera (ray generation) and miss programs: file, text, entry function.
    std::string m_camera_file, m_camera_ptx, m_camera_function;
    bool m_camera_dirty = false;
    std::string m_miss_file, m_miss_ptx, m_miss_function;
    bool m_miss_dirty = false;
    unsigned m_backgroundTexture = 0;

    // Cameras by id, built in place and never moved (the trackball points at one).
    std::map<unsigned, Camera> m_cameras;
    unsigned m_currentCamera = 0; // 0: none
    Trackball m_trackball;
    // The host's light records, mirrored into every device at the next launch.
    std::vector<LightData> _lights;
    bool m_lights_dirty = false;
    unsigned m_defaultMaterial = 0;

    // Post-processing, run in order on the image after every gather.
    std::vector<std::unique_ptr<Postprocessing>> m_postprocessing;
    PostprocParams m_postprocParams = {};
    unsigned m_activeDenoiserKind = 0; // the requested kind, taken when a denoiser is added

    // Output images on the primary device, released before the device states.
    CUDAOutputBuffer<float4> m_image;         // render size, bottom row first
    CUDAOutputBuffer<float4> m_upscaledImage; // output size, when the scale factor is above 1
    CUDAOutputBuffer<float4> m_hitPosImage;
    CUDAOutputBuffer<float4> m_albedoImage;
    CUDAOutputBuffer<float4> m_normalImage;
    CUDAOutputBuffer<uint2> m_idImage;
    // The stage applied to every frame, the one made on demand, and those
    // replaced, kept until the instance goes.
    std::unique_ptr<Readback> m_readback;
    std::unique_ptr<Readback> m_readback2;
    std::vector<std::unique_ptr<Readback>> m_retiredReadbacks;
};
