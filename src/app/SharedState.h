#pragma once

#include <QPointF>
#include <array>
#include <atomic>
#include <filesystem>
#include <memory>
#include <optional>
#include <vector>

class QPixmap;

namespace lumaweave {

class AppDelegate;
class EnfuseSettingsWindow;
class Metadata;
class PreviewWindow;
class SourceCellViewController;
class SourcesWindow;

// The state that the whole program shares. The windows are owned by the main frame and the cells by
// the sources window; these are references, set once while the windows are made, before any
// background thread. What several threads touch is atomic; the rest belongs to the main thread
// unless its line says otherwise.

inline constexpr int sourceCellCount = 16;

extern AppDelegate* gAppDelegate;
extern SourcesWindow* gSourcesWindow;
extern PreviewWindow* gPreviewWindow;
extern EnfuseSettingsWindow* gEnfuseSettingsPanel;

// The fixed grid of source cells; every fusion walks it in index order.
extern std::array<SourceCellViewController*, sourceCellCount> gSourceCells;
// What an empty cell shows.
extern QPixmap* gBlankCellBackground;

// How many cells hold an image. A preview fusion is only started when it is at least 2.
extern std::atomic<int> gNumSourceImages;
// The stack's size in pixels and its width divided by its height: those of the last image loaded.
extern std::atomic<float> gImageWidth;
extern std::atomic<float> gImageHeight;
extern std::atomic<float> gImageAspectRatio;

// Set while a fusion of that kind is inside the tool; taken by test-and-set (fusion/Enfuse).
extern std::atomic<bool> gEnfusingPreview;
extern std::atomic<bool> gEnfusingFull;

// Where the next full-size fusion writes its result; empty for nowhere. Set before the worker that
// reads it is started.
extern std::filesystem::path gEnfuseSavePath;
// The metadata of the first usable source, to be written into the result.
extern std::shared_ptr<const Metadata> gSourceImageEXIF;

// The spot of the image (points, origin at the bottom left) that the 1:1 detail view shows.
extern QPointF gDetailCoord;

// The number of the newest message of the update feed that was shown.
extern int gBestMessageNum;

// Batch fusion.
extern std::filesystem::path gBatchFolderPath;
extern int gNumFilesInBatchFolder;
extern std::optional<std::vector<std::filesystem::path>> gBatchList;
extern std::atomic<bool> gCancelBatch;
// Set when the first batch starts and never cleared: cells then log instead of alerting.
extern std::atomic<bool> gDoingBatch;
extern std::atomic<bool> gAutoAlignDuringBatch;
extern int gNumBatchSets;
extern int gNumImagesInBatchSet;

// Alignment.
extern int gAA_GridSize;
extern int gAA_NumControlPoints;
extern bool gAA_AssumeFullFrameFisheye;
extern bool gAA_OptimizeFOV;

// Tessellation of the panorama's sphere.
extern double gSphereRez;

}  // namespace lumaweave
