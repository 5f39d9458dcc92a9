// Post-processing on two simulated devices (860, 860): every stage's kernel
// against hand-computed pixels (textures fetched as the texture unit does),
// the stage list, the stage textures, and the denoiser in its three models
// with the simulated denoiser (sim/README.md), whose output tells which
// buffers it was given.

#include "core/PathTracer.h"
#include "kernels/postprocessing_kernels.h"
#include "output/Denoiser.h"
#include "output/PostprocessingStages.h"
#include "support.h"

#include <cmath>

PathTracer* findPathTracer(unsigned int handle);

namespace {

using namespace t7test;

class Postproc : public InstanceTest {
protected:
    void SetUp() override
    {
        InstanceTest::SetUp();
        if (HasFatalFailure())
            return;
        pt = findPathTracer(h);
        readyToLaunch(h);
    }
    // A texture of the instance, 8-bit, clamped; its sampler on the primary device.
    cudaTextureObject_t texture(int width, int channels, std::vector<unsigned char> texels,
                                unsigned* id = nullptr)
    {
        const int height = int(texels.size()) / (width * channels);
        const unsigned t = ApiSetupTexture(h, width, height, channels, 8, cudaAddressModeClamp,
                                           texels.data(), nullptr);
        if (id)
            *id = t;
        return pt->states()[0].textures.at(t).sampler();
    }
    std::vector<sim::DenoiserRecord> calls(const char* call)
    {
        std::vector<sim::DenoiserRecord> out;
        for (const sim::DenoiserRecord& r : sim::records().denoisers)
            if (r.call == call)
                out.push_back(r);
        return out;
    }
    std::vector<float4> raw() { return rawImage(h); }
    PathTracer* pt = nullptr;
};

// A denoiser of `model` asking for `guides` and acting from `start`, with gamma
// 1 and scale 1; the simulated device's records and journal start afresh.
void addDenoiser(unsigned handle, postprocAlgorithm model, OptixDenoiserInputKind guides,
                 unsigned start)
{
    ApiSetPostprocDenoiser(handle, guides, 0.0f, start);
    ApiSetPostprocGamma(handle, 1.0f, 1.0f);
    ApiAddPostprocessing(handle, model);
    sim::clearRecords();
    sim::clearJournal();
}

bool same(float4 a, float4 b)
{
    auto eq = [](float x, float y) { return x == y || (std::isnan(x) && std::isnan(y)); };
    return eq(a.x, b.x) && eq(a.y, b.y) && eq(a.z, b.z) && eq(a.w, b.w);
}

TEST_F(Postproc, EachStageKernelAgainstHandComputedPixels)
{
    const float inf = INFINITY, nan = NAN;
    PostprocParams p = {};
    p.levelsLow = {0.1f, 0.2f, 0.25f};
    p.levelsHigh = {1.1f, 0.2f, 0.75f}; // green: low = high
    p.gamma = 2.0f;
    p.scale = 4.0f;
    // Tables 0, 1/3, 2/3, 1: texel centres at 1/8, 3/8, 5/8, 7/8, linear between.
    p.tonemapGraySampler = texture(4, 1, {0, 85, 170, 255});
    p.tonemapRedSampler = p.tonemapGraySampler;
    p.tonemapGreenSampler = texture(1, 1, {51});
    p.tonemapBlueSampler = texture(1, 1, {204});
    // 2 x 1 overlays: red, opaque; green at alpha 0.2.
    p.addSampler = p.mulSampler = texture(2, 4, {255, 0, 0, 255, 0, 255, 0, 51});
    struct Case {
        const char* what;
        std::unique_ptr<Postprocessing> stage;
        int width;
        std::vector<float4> in, out;
    };
    Case cases[] = {
        {"levels", std::make_unique<LevelsCorrection>(), 2,
         {{0.6f, 0.2f, 0.5f, 7}, {0.1f, 0.7f, 0.25f, -1}},
         {{0.5f, nan, 0.5f, 7}, {0, inf, 0, -1}}},
        {"gamma", std::make_unique<GammaCorrection>(), 2,
         {{1, 0.25f, 0, 9}, {4, 0.0625f, 0.5f, -2}}, {{2, 1, 0, 9}, {4, 0.5f, std::sqrt(2.0f), -2}}},
        {"tonemap gray", std::make_unique<TonemapGrayCorrection>(), 1,
         {{0.125f / 4, 0.375f / 4, 0.125f, 5}}, {{0, 1.0f / 3, 0.5f, 5}}},
        {"tonemap rgb", std::make_unique<TonemapRgbCorrection>(), 1,
         {{0.875f / 4, 0.9f, 0.1f, 5}}, {{1, 0.2f, 0.8f, 5}}},
        {"overlay add", std::make_unique<OverlayAdd>(), 2,
         {{0.5f, 0.5f, 0.5f, 3}, {0.5f, 0.5f, 0.5f, 3}}, {{1, 0, 0, 3}, {0.4f, 0.6f, 0.4f, 3}}},
        {"overlay mul", std::make_unique<OverlayMul>(), 2,
         {{0.5f, 0.5f, 0.5f, 3}, {0.5f, 0.5f, 0.5f, 3}}, {{0.5f, 0, 0, 3}, {0.4f, 0.5f, 0.4f, 3}}},
    };
    for (Case& c : cases) {
        std::vector<float4> image = c.in;
        c.stage->apply(image.data(), c.width, int(image.size()) / c.width, nullptr, p, nullptr);
        for (size_t i = 0; i < image.size(); ++i) {
            const float4 g = image[i], w = c.out[i];
            EXPECT_TRUE(same(g, w) || (std::fabs(g.x - w.x) < 1e-5f && std::fabs(g.y - w.y) < 1e-5f &&
                                       std::fabs(g.z - w.z) < 1e-5f && g.w == w.w))
                << c.what << " pixel " << i << ": " << g.x << " " << g.y << " " << g.z << " " << g.w;
        }
    }
}

TEST_F(Postproc, TheDenoisersHelperKernels)
{
    // Fireflies on a 3 x 3 image: the centre (sum 30) among dim neighbours
    // (sum 1.5 each) is scaled to their mean; so is the corner (two
    // neighbours); a bright neighbour (sum 4 > 3) keeps a pixel as it is.
    const float4 dim = {0.5f, 0.5f, 0.5f, 1}, hot = {10, 10, 10, 2}, warm = {2, 1, 1, 1};
    std::vector<float4> src = {hot, dim, dim, dim, hot, dim, dim, warm, dim};
    std::vector<float4> dst(9);
    filterFirefliesDenoiser(9, nullptr, src.data(), dst.data(), 3, 3);
    EXPECT_TRUE(same(dst[0], make_float4(0.5f, 0.5f, 0.5f, 0.1f))) << "corner: 3 / (30 x 2)";
    EXPECT_TRUE(same(dst[4], hot)) << "the warm neighbour below";
    EXPECT_TRUE(same(dst[1], dim) && same(dst[7], warm));
    src = {dim, hot, dim}; // an edge: two neighbours
    filterFirefliesDenoiser(3, nullptr, src.data(), dst.data(), 3, 1);
    EXPECT_TRUE(same(dst[1], make_float4(0.5f, 0.5f, 0.5f, 0.1f)));
    // A sum of exactly 5 is checked already (among neighbours of 0.3: 0.6 / 10).
    const float4 faint = {0.1f, 0.1f, 0.1f, 1}, five = {2, 2, 1, 1};
    src = {faint, five, faint};
    filterFirefliesDenoiser(3, nullptr, src.data(), dst.data(), 3, 1);
    EXPECT_NEAR(dst[1].x, 2 * 0.6f / 10, 1e-6f) << "isolated at the threshold";
    // A NaN sum above leaves a pixel alone; a NaN sum beside it does not.
    const float4 bad = {NAN, 0, 0, 0};
    src = {bad, dim, hot, dim};
    filterFirefliesDenoiser(4, nullptr, src.data(), dst.data(), 2, 2);
    EXPECT_TRUE(same(dst[2], hot)) << "NaN above";
    src = {dim, dim, bad, hot};
    filterFirefliesDenoiser(4, nullptr, src.data(), dst.data(), 2, 2);
    EXPECT_TRUE(std::isnan(dst[3].x)) << "NaN to the left: isolated, scaled by a NaN total";

    // The LDR input: gamma, then all four channels into [0, 1], NaN to 0.
    src = {{4, 0.25f, -1, 1.5f}};
    postprocessingGammaDenoiser(1, nullptr, src.data(), dst.data(), 0.5f, 1.0f);
    EXPECT_TRUE(same(dst[0], make_float4(1, 0.5f, 0, 1)));
}

TEST_F(Postproc, TheListTakesTheDenoiserInFrontAndOnlyOne)
{
    for (int algorithm : {0, 42, 2, 6, 8})
        ApiAddPostprocessing(h, postprocAlgorithm(algorithm));
    std::vector<postprocAlgorithm> types;
    for (const auto& stage : pt->postprocessing())
        types.push_back(stage->type());
    EXPECT_EQ(types, (std::vector<postprocAlgorithm>{POSTPROC_DENOISER_HDR, POSTPROC_LEVELS,
                                                     POSTPROC_LEVELS, POSTPROC_GAMMA,
                                                     POSTPROC_OVERLAY_ADD}));
    EXPECT_TRUE(pt->hasDenoiser());
    EXPECT_EQ(printed([&] { ApiAddPostprocessing(h, POSTPROC_DENOISER_LDR); }),
              "Denoiser already implemented!\n");
    EXPECT_EQ(pt->postprocessing().size(), 5u);
    EXPECT_EQ(failure([&] { Denoiser(pt->states()[0].context, OPTIX_DENOISER_MODEL_KIND_AOV, nullptr); }),
              "Denoiser model not supported.");
}

TEST_F(Postproc, StageTexturesRestartAccumulationAndSettingsDoNot)
{
    using Setter = bool (*)(unsigned, unsigned);
    const std::pair<Setter, const char*> setters[] = {
        {ApiSetPostprocTonemapGrayTexture, "TonemapGray texture not found."},
        {ApiSetPostprocTonemapRedTexture, "TonemapRed texture not found."},
        {ApiSetPostprocTonemapGreenTexture, "TonemapGreen texture not found."},
        {ApiSetPostprocTonemapBlueTexture, "TonemapBlue texture not found."},
        {ApiSetPostprocAddTexture, "Add overlay texture not found."},
        {ApiSetPostprocMulTexture, "Mul overlay texture not found."},
    };
    unsigned id = 0;
    texture(2, 4, std::vector<unsigned char>(8, 9), &id);
    for (const auto& s : setters) {
        EXPECT_EQ(printed([&] { EXPECT_FALSE(s.first(h, id + 1)); }), std::string(s.second) + "\n");
        EXPECT_EQ(ApiLaunch(h, 1, 10, nullptr), 0);
        EXPECT_TRUE(s.first(h, id));
        EXPECT_EQ(pt->accumFrames(), 0u) << s.second;
    }
    EXPECT_EQ(pt->postprocParams().mulSampler, pt->states()[0].textures.at(id).sampler());
    std::vector<unsigned char> bigger(4 * 4 * 4, 1);
    ASSERT_TRUE(ApiUpdateTexture(h, id, 4, 4, bigger.data(), nullptr));
    EXPECT_EQ(pt->postprocParams().tonemapGraySampler, pt->states()[0].textures.at(id).sampler())
        << "the primary device's new sampler";

    EXPECT_EQ(ApiLaunch(h, 1, 10, nullptr), 0);
    const trevix7_float3 low = {0, 0, 0}, high = {2, 2, 2};
    ApiSetPostprocLevels(h, &low, &high);
    ApiSetPostprocLevels(h, &low, nullptr); // refused
    ApiSetPostprocGamma(h, 1.0f, 1.0f);
    EXPECT_TRUE(pt->accumFrames() == 1u && pt->postprocParams().levelsHigh.x == 2.0f &&
                pt->states()[1].params.gamma == 1.0f);

    // In a frame: levels halves the placeholder's pixel (x, y, d, 0).
    ApiAddPostprocessing(h, POSTPROC_LEVELS);
    EXPECT_EQ(ApiLaunch(h, 1, 10, nullptr), 0);
    const float4 p = raw()[(48 - 1 - 3) * 64 + 6];
    EXPECT_TRUE(p.x == 3.0f && p.y == 1.5f);
}

// The denoiser in a frame, HDR with albedo and normal guides, gamma 1: from
// the start count on, each frame is what the simulated denoiser makes of the
// image and the guides (in + 10 albedo + 100 normal).
TEST_F(Postproc, TheDenoiserActsFromItsStartWithItsGuides)
{
    addDenoiser(h, POSTPROC_DENOISER_HDR, OPTIX_DENOISER_INPUT_RGB_ALBEDO_NORMAL, 3);
    for (unsigned frame = 1; frame <= 3; ++frame) {
        EXPECT_EQ(ApiLaunch(h, 1, 10, nullptr), 0);
        EXPECT_EQ(calls("Invoke").size(), frame == 3 ? 1u : 0u) << frame;
    }
    EXPECT_EQ(journalCount("kernel postprocessingGamma "), 0u) << "gamma 1 and scale 1";
    const sim::DenoiserRecord create = calls("Create").at(0);
    EXPECT_TRUE(create.kind == OPTIX_DENOISER_MODEL_KIND_HDR && create.options.guideAlbedo == 1 &&
                create.options.guideNormal == 1);
    const sim::DenoiserRecord invoke = calls("Invoke").at(0);
    EXPECT_TRUE(calls("ComputeIntensity").at(0).params.hdrIntensity == invoke.params.hdrIntensity &&
                invoke.width == 64 && invoke.height == 48 && invoke.numLayers == 1 &&
                invoke.guide.albedo.data == reinterpret_cast<CUdeviceptr>(pt->albedoImage().map()) &&
                invoke.guide.normal.data == reinterpret_cast<CUdeviceptr>(pt->normalImage().map()));
    // Pixel (6, 3), rendered by device 0: colour (6, 3, 0, 1) after 3 passes
    // (totals 0, 1, 2), albedo half of it, normal (6, 3, 1, 1) normalised.
    const float4 p = raw()[(48 - 1 - 3) * 64 + 6];
    const float n = 6 / std::sqrt(36.0f + 9 + 1 + 1);
    EXPECT_NEAR(p.x, 6 + 10 * 3 + 100 * n, 1e-3f);
    EXPECT_EQ(p.w, 1.0f);
    // Blended half and half with the noisy image.
    ApiSetPostprocDenoiser(h, OPTIX_DENOISER_INPUT_RGB_ALBEDO_NORMAL, 0.5f, 3);
    EXPECT_EQ(ApiLaunch(h, 1, 10, nullptr), 0);
    EXPECT_NEAR(raw()[(48 - 1 - 3) * 64 + 6].x, 0.5f * 6 + 0.5f * (6 + 10 * 3 + 100 * n), 1e-3f);
    ApiSetPostprocDenoiser(h, OPTIX_DENOISER_INPUT_RGB_ALBEDO_NORMAL, 0.0f, 3);

    // A new output size keeps the denoiser and reallocates its memory; a
    // guide less makes a new one.
    sim::clearRecords();
    ASSERT_TRUE(ApiResize(h, 32, 16, nullptr));
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(ApiLaunch(h, 1, 10, nullptr), 0);
    EXPECT_TRUE(calls("Create").empty() && calls("Destroy").empty());
    EXPECT_EQ(calls("Setup").at(0).width, 32u);
    ASSERT_TRUE(ApiResize(h, 32, 24, nullptr)); // the height alone
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(ApiLaunch(h, 1, 10, nullptr), 0);
    EXPECT_EQ(calls("Setup").back().height, 24u);
    const char* kind[] = {"denoiser_kind"};
    int albedoOnly[] = {3};
    ASSERT_TRUE(ApiUpdateVariables(h, kind, albedoOnly, 1, nullptr, nullptr, 0, nullptr, nullptr, 0,
                                   nullptr, nullptr, 0, nullptr, nullptr, 0, nullptr, nullptr, 0));
    // The old one cannot be destroyed at first: it is kept, and released later.
    EXPECT_EQ(ApiLaunch(h, 2, 10, nullptr), 0);
    sim::failNext("optixDenoiserDestroy", OPTIX_ERROR_INVALID_VALUE);
    printed([&] { EXPECT_EQ(ApiLaunch(h, 1, 10, nullptr), 0x900); });
    EXPECT_NE(pt->postprocessing().size(), 0u);
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(ApiLaunch(h, 1, 10, nullptr), 0);
    EXPECT_EQ(calls("Destroy").size(), 1u);
    EXPECT_TRUE(calls("Create").at(0).options.guideAlbedo == 1 &&
                calls("Create").at(0).options.guideNormal == 0);
    // A requested kind waits for the next denoiser, or a kind named in an update.
    ApiSetPostprocDenoiser(h, OPTIX_DENOISER_INPUT_RGB_ALBEDO_NORMAL, 0.0f, 3);
    ASSERT_TRUE(ApiUpdateVariables(h, nullptr, nullptr, 0, nullptr, nullptr, 0, nullptr, nullptr, 0,
                                   nullptr, nullptr, 0, nullptr, nullptr, 0, nullptr, nullptr, 0));
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(ApiLaunch(h, 1, 10, nullptr), 0);
    EXPECT_EQ(calls("Destroy").size(), 1u) << "the same guides";
}

TEST_F(Postproc, UpscalingTracesAtHalfSizeAndLdrAlwaysCorrectsGamma)
{
    addDenoiser(h, POSTPROC_DENOISER_UP2, OPTIX_DENOISER_INPUT_RGB, 2);
    EXPECT_EQ(ApiLaunch(h, 1, 10, nullptr), 0);
    EXPECT_EQ(sim::records().launches.at(0).params.width, 32u) << "half the output width";
    // Before the start: the gathered image doubled, pixel by pixel.
    std::vector<float4> up = raw();
    ASSERT_EQ(up.size(), 64u * 48);
    EXPECT_TRUE(same(up[5 * 64 + 9], up[4 * 64 + 8]) && up[4 * 64 + 8].x == 4.0f);
    EXPECT_EQ(journalCount("kernel upscale2x n=3072"), 1u);
    EXPECT_EQ(ApiLaunch(h, 1, 10, nullptr), 0);
    const sim::DenoiserRecord invoke = calls("Invoke").at(0);
    EXPECT_TRUE(invoke.width == 32 && invoke.height == 24 && invoke.layer.output.width == 64);
    EXPECT_TRUE(invoke.guide.albedo.data == 0 && invoke.guide.normal.data == 0) << "kind 1";
    EXPECT_EQ(journalCount("kernel postprocessingGamma "), 0u);
    // An odd output size: the last row and column repeat the source's last
    // before the start, and the denoiser fills the even part after it.
    ASSERT_TRUE(ApiResize(h, 63, 47, nullptr));
    EXPECT_EQ(ApiLaunch(h, 1, 10, nullptr), 0);
    up = raw();
    EXPECT_TRUE(same(up[46 * 63 + 62], up[45 * 63 + 61]) && up[46 * 63 + 62].x == 30.0f);
    EXPECT_EQ(ApiLaunch(h, 1, 10, nullptr), 0);
    const OptixImage2D out = calls("Invoke").back().layer.output;
    EXPECT_TRUE(out.width == 62 && out.height == 46 && out.rowStrideInBytes == 63 * 16);
    // ... and every pixel beyond it repeats its neighbour inside.
    up = raw();
    for (unsigned y = 0; y < 47; ++y)
        EXPECT_TRUE(same(up[y * 63 + 62], up[std::min(y, 45u) * 63 + 61]) && up[y * 63 + 62].x != 0) << y;
    for (unsigned x = 0; x < 63; ++x)
        EXPECT_TRUE(same(up[46 * 63 + x], up[45 * 63 + std::min(x, 61u)])) << x;

    // A normal image without albedo gives no guides; LDR runs gamma always.
    const Created other = create();
    ASSERT_TRUE(ApiSetSaveNormalsState(other.handle, true));
    readyToLaunch(other.handle);
    addDenoiser(other.handle, POSTPROC_DENOISER_LDR, OPTIX_DENOISER_INPUT_RGB, 10);
    EXPECT_EQ(ApiLaunch(other.handle, 10, 20, nullptr), 0);
    EXPECT_EQ(journalCount("kernel postprocessingGamma "), 0u) << "active: gamma is in the input";
    EXPECT_TRUE(journalCount("kernel postprocessingGammaDenoiser ") == 1 &&
                calls("Create").at(0).options.guideNormal == 0 &&
                calls("Create").at(0).options.guideAlbedo == 0);
    EXPECT_TRUE(ApiClearAccumulation(other.handle));
    EXPECT_EQ(ApiLaunch(other.handle, 1, 20, nullptr), 0);
    EXPECT_EQ(journalCount("kernel postprocessingGamma "), 1u) << "inactive";
    EXPECT_TRUE(ApiDestroyPathTracer(other.handle, nullptr));
}

} // namespace
