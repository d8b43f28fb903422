#include "app/SharedState.h"

namespace lumaweave {

AppDelegate* gAppDelegate = nullptr;
SourcesWindow* gSourcesWindow = nullptr;
PreviewWindow* gPreviewWindow = nullptr;
EnfuseSettingsWindow* gEnfuseSettingsPanel = nullptr;

std::array<SourceCellViewController*, sourceCellCount> gSourceCells = {};
QPixmap* gBlankCellBackground = nullptr;

std::atomic<int> gNumSourceImages = 0;
std::atomic<float> gImageWidth = 0.0F;
std::atomic<float> gImageHeight = 0.0F;
std::atomic<float> gImageAspectRatio = 1.0F;

std::atomic<bool> gEnfusingPreview = false;
std::atomic<bool> gEnfusingFull = false;

std::filesystem::path gEnfuseSavePath;
std::shared_ptr<const Metadata> gSourceImageEXIF;

QPointF gDetailCoord;

int gBestMessageNum = 0;

std::filesystem::path gBatchFolderPath;
int gNumFilesInBatchFolder = 0;
std::optional<std::vector<std::filesystem::path>> gBatchList;
std::atomic<bool> gCancelBatch = false;
std::atomic<bool> gDoingBatch = false;
std::atomic<bool> gAutoAlignDuringBatch = false;
int gNumBatchSets = 0;
int gNumImagesInBatchSet = 0;

int gAA_GridSize = 5;
int gAA_NumControlPoints = 8;
bool gAA_AssumeFullFrameFisheye = false;
bool gAA_OptimizeFOV = false;

double gSphereRez = 12.0;

}  // namespace lumaweave
