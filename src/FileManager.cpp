#include "FileManager.h"

#include <cstdio>

namespace QV_NCOA {

QvbString CNCOA_FileManager::under(const char* literal) const {
    QvbString p(root_);
    p.append(literal);
    return p;
}

QvbString CNCOA_FileManager::getContentsLstPath() const { return under("/DVD 2/clk/contents.lst"); }

QvbString CNCOA_FileManager::getClkXHsYPath(char letter, int section) const {
    // Bounded like every formatted path: longer paths come back cut at 1,023.
    char buf[1024];
    std::snprintf(buf, sizeof buf, "%s/DVD %d/clk.%c.hs%d", root_.asCstr(), section == 0 ? 2 : 1, letter, section);
    return QvbString(buf);
}

QvbString CNCOA_FileManager::getClkHsbPath() const { return under("/DVD 2/clk.hsb"); }
QvbString CNCOA_FileManager::getLCDPath() const { return under("/DVD 2/clk/lcd"); }
QvbString CNCOA_FileManager::getBusinessLstPath() const { return under("/DVD 2/clk/business.lst"); }
QvbString CNCOA_FileManager::getZIPLstPath() const { return under("/DVD 2/clk/zip.lst"); }
QvbString CNCOA_FileManager::getHintLstPath() const { return under("/DVD 2/clk/hint.lst"); }

QvbString CNCOA_FileManager::getCLKFLTPath(int file) const {
    switch (file) {
    case 0: return under("/DVD 1/clk.flt.1");
    case 1: return under("/DVD 1/clk.flt.2");
    case 2: return under("/DVD 2/clk.flt.3");
    default: return root_;
    }
}

QvbString CNCOA_FileManager::getFLTIdxPath(int file, int keySize) const {
    if (keySize == 0) return QvbString();
    char buf[1024];
    std::snprintf(buf, sizeof buf, "%s/flt_idx_%d_%d.dat", root_.asCstr(), keySize * 8, file);
    return QvbString(buf);
}

QvbString CNCOA_FileManager::getX11Path() const { return under("/DVD 2/clk/x11"); }
QvbString CNCOA_FileManager::getCzpDatPath() const { return under("/DVD 2/rv9/czp.dat"); }
QvbString CNCOA_FileManager::getClnDatPath() const { return under("/DVD 2/rv9/cln.dat"); }
QvbString CNCOA_FileManager::getLeftRitePath() const { return under("/DVD 2/clk/leftrite.txt"); }
QvbString CNCOA_FileManager::getRv9EsdPath() const { return under("/DVD 2/rv9/rv9.esd"); }
QvbString CNCOA_FileManager::getPnoDatPath() const { return under("/DVD 2/rv9/pno.dat"); }
QvbString CNCOA_FileManager::getDscDatPath() const { return under("/DVD 2/rv9/dsc.dat"); }
QvbString CNCOA_FileManager::getSnoDatPath() const { return under("/DVD 2/rv9/sno.dat"); }
QvbString CNCOA_FileManager::getSufDatPath() const { return under("/DVD 2/rv9/suf.dat"); }
QvbString CNCOA_FileManager::getNamDatPath() const { return under("/DVD 2/rv9/nam.dat"); }
QvbString CNCOA_FileManager::getCrdDatPath() const { return under("/DVD 2/rv9/crd.dat"); }
QvbString CNCOA_FileManager::getLlnDatPath() const { return under("/DVD 2/rv9/lln.dat"); }
QvbString CNCOA_FileManager::getDphHsaPath() const { return under("/DVD 2/clk/dph.hsa"); }
QvbString CNCOA_FileManager::getNormalFPath() const { return under("/DVD 2/clk/normalf.lst"); }
QvbString CNCOA_FileManager::getNormalLPath() const { return under("/DVD 2/clk/normall.lst"); }
QvbString CNCOA_FileManager::getNickLstPath() const { return under("/DVD 2/clk/nick.lst"); }
QvbString CNCOA_FileManager::getNonofLstPath() const { return under("/DVD 2/clk/nonof.lst"); }
QvbString CNCOA_FileManager::getNonolLstPath() const { return under("/DVD 2/clk/nonol.lst"); }
QvbString CNCOA_FileManager::getRulesLstPath() const { return under("/DVD 2/clk/rules.lst"); }
QvbString CNCOA_FileManager::getDailyDelDatPath() const { return under("/DVD 2/dailydel.dat"); }

QvbString CNCOA_FileManager::getDVDHeaderPath(int disc) const {
    switch (disc) {
    case 0: return under("/DVD 1/dvdhdr01.dat");
    case 1: return under("/DVD 2/dvdhdr02.dat");
    default: return root_;
    }
}

QvbString CNCOA_FileManager::getUrbxLstPath() const { return under("/DVD 2/clk/urbx.lst"); }
QvbString CNCOA_FileManager::getGenderTxtPath() const { return under("/DVD 2/clk/gender.txt"); }

}  // namespace QV_NCOA
