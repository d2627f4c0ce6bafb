#include "video/VideoEditorModel.h"

#include "platform/MoviePlayer.h"
#include "video/StudioScene.h"

VideoEditorModel::VideoEditorModel(QString url, bool, QObject* parent)
    : QObject(parent), m_url(std::move(url)) {}

VideoEditorModel::~VideoEditorModel() = default;
