#include "Model/objectmodel.h"

ObjectModel::ObjectModel() : QObject(nullptr) {}

ObjectModel::~ObjectModel() = default;
