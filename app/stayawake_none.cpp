// SPDX-License-Identifier: MIT
// A system that no program keeps awake.
#include "app/stayawake.h"

#include <QDebug>

namespace {

class NoStayAwake : public StayAwake
{
public:
    void hold() override
    {
        if (!isHeld)
            qDebug().noquote() << "The computer may fall asleep during the update:"
                               << "this system cannot be asked";
        isHeld = true;
    }
    void release() override { isHeld = false; }

private:
    bool isHeld = false;
};

} // namespace

std::unique_ptr<StayAwake> makeStayAwake(QWidget &)
{
    return std::make_unique<NoStayAwake>();
}
