// What nearly every source of the window includes.
#include <QtCore>
#include <QtGui>
#include <QtWidgets>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>
