// Where each file of an NCOALink data set lies under its root folder. The only
// place that builds data-set paths; it opens and checks nothing.
#pragma once

#include "qvb_string.h"

namespace QV_NCOA {

class CNCOA_FileManager {
public:
    CNCOA_FileManager() = default;

    // The root is kept as the caller gave it: no separator added or removed.
    void setRoot(const char* root) { root_.assign(root); }
    const QvbString& getRoot() const { return root_; }

    QvbString getContentsLstPath() const;
    // Section 0 lies on the second disc, sections 1 to 9 on the first.
    QvbString getClkXHsYPath(char letter, int section) const;
    QvbString getClkHsbPath() const;
    QvbString getLCDPath() const;
    QvbString getBusinessLstPath() const;
    QvbString getZIPLstPath() const;
    QvbString getHintLstPath() const;
    // file 0 to 2; any other value gives the root alone.
    QvbString getCLKFLTPath(int file) const;
    // keySize is a CNCOA_DataFileIndexer::eKeySize (bytes of the index key,
    // 1 to 3); 0 gives an empty path. Taken as int so that this header needs
    // nothing of the indexer; the enum converts.
    QvbString getFLTIdxPath(int file, int keySize) const;
    QvbString getX11Path() const;
    QvbString getCzpDatPath() const;
    QvbString getClnDatPath() const;
    QvbString getLeftRitePath() const;
    QvbString getRv9EsdPath() const;
    QvbString getPnoDatPath() const;
    QvbString getDscDatPath() const;
    QvbString getSnoDatPath() const;
    QvbString getSufDatPath() const;
    QvbString getNamDatPath() const;
    QvbString getCrdDatPath() const;
    QvbString getLlnDatPath() const;
    QvbString getDphHsaPath() const;
    QvbString getNormalFPath() const;
    QvbString getNormalLPath() const;
    QvbString getNickLstPath() const;
    QvbString getNonofLstPath() const;
    QvbString getNonolLstPath() const;
    QvbString getRulesLstPath() const;
    QvbString getDailyDelDatPath() const;
    // disc 0 or 1; any other value gives the root alone.
    QvbString getDVDHeaderPath(int disc) const;
    QvbString getUrbxLstPath() const;
    QvbString getGenderTxtPath() const;

protected:
    QvbString root_;

private:
    QvbString under(const char* literal) const;
};

}  // namespace QV_NCOA
