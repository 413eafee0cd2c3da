#include "sources/defaultsources.h"

#include <QString>
#include <QStringView>

#include <iterator>

namespace {

struct Row
{
    const char16_t *name;
    const char *link;
    const char *imageName;
};

// Row order is the order a fresh source list shows, so it is curated by hand; only the last run is kept
// alphabetical, which gives new rows an obvious place.
//
// A saved default matches its row only when every field is equal (RepoSource compares all of them), so
// renaming a row orphans the copies users already have. That includes the invisible U+200F U+200B U+200F
// that three names begin with: it is part of the name, not a typo.
//
// imageName is an asset name: "<word>_icon" for the icons drawn for the app, otherwise the owner's handle
// in the letter case of the asset file.
constexpr Row kRows[] = {
    {u"\u200F\u200B\u200FChariz", "https://repo.chariz.com/", "chariz_icon"},

    // Chinese-language sources.
    {u"威锋源", "https://repo.feng.com/", "feng_icon"},
    {u"\u200F\u200B\u200F刀刀源", "https://xiangfeidexiaohuo.github.io/", "daodao_icon"},
    {u"老牌猫源", "https://apt.25mao.com/", "25mao_icon"},
    {u"Acreson源", "https://repo.acreson.cn/", "acreson_icon"},
    {u"Cydiakk 中文源", "https://apt.cydiakk.com/", "cydiakk_icon"},
    {u"乌贼力量源", "https://lclrc.github.io/repo/", "lclrc"},
    {u"赵楠源", "https://invalidunit.github.io/repo/", "invalidunit"},

    {u"RootHide Releases", "https://github.com/roothide/roothide.github.io/releases/download/1900/",
     "roothide"},
    {u"Covrose Procursus", "https://kexnotes.github.io/covrose.roothide/procursus/", "apt_icon"},
    {u"BVN RootHide", "https://bvn-roothide.github.io/", "bvn-roothide"},
    {u"Procursus Backup", "https://susudear.github.io/roothide-procursus-backup/", "susudear"},
    {u"Install Package Files", "https://pkgfiles.github.io/", "pkgfiles"},
    {u"Mineek's Repo", "http://mineek.online/", "mineek"},
    {u"34306's Repo", "https://34306.github.io/", "34306"},
    {u"82Flex's Repo", "https://apt.82flex.com/", "82Flex"},
    {u"Misty's Repo", "https://repo.misty.moe/apt/", "misty"},
    {u"OwnGoal's Repo", "https://apt.owngoal.dev/", "owngoal"},
    {u"level3tjg's Repo", "https://level3tjg.xyz/repo/", "level3tjg"},
    {u"\u200F\u200B\u200FiOSJB源", "https://iosjb.top/", "iosjb"},
    {u"NiceiOS源", "https://global.niceios.com/", "NiceiOS"},
    {u"Netskao源", "https://repo.initnil.com/", "Netskao"},
    {u"Netskao JailRepo", "https://jailrepo.initnil.com/", "Netskao"},

    // Well-known repositories; their icons ship with the app as <word>_icon.
    {u"Havoc", "https://havoc.app/", "havoc_icon"},
    {u"Zebra", "https://getzbra.com/repo/", "zebra_icon"},
    {u"Sileo", "https://repo.getsileo.app/", "sileo_icon"},
    {u"palera1n", "https://repo.palera.in/", "palera1n_icon"},
    {u"ElleKit", "https://ellekit.space/", "ellekit_icon"},
    {u"RootHide's Repo", "https://roothide.github.io/", "roothide_icon"},
    {u"Elucubratus", "https://apt.bingner.com/", "apt_icon"},
    {u"Dynastic Repo", "https://repo.dynastic.co/", "dynastic_icon"},
    {u"BigBoss+", "https://repounclutter.coolstar.org/", "bigboss_icon"},
    {u"PoomSmart's Repo", "https://poomsmart.github.io/repo/", "poomsmart_icon"},
    {u"opa334's Repo", "https://opa334.github.io/", "opa334_icon"},
    {u"Karen's Repo", "https://cydia.akemi.ai/", "karen_icon"},
    {u"Karen's Old Repo", "https://cydia.angelxwind.net/", "angelxwind_icon"},
    {u"SparkDev's Repo", "https://sparkdev.me/", "sparkdev_icon"},
    {u"CreatureCoding", "https://creaturecoding.com/repo/", "creaturecoding_icon"},
    {u"Ginsu Tweaks", "https://ginsu.dev/repo/", "ginsu_icon"},
    {u"Limneos Repo", "https://limneos.net/repo/", "limneos_icon"},
    {u"MTAC's Repo", "https://mtac.app/repo/", "mtac_icon"},
    {u"P2KDev's Repo", "https://p2kdev.github.io/repo/", "p2kdev_icon"},
    {u"ichitaso's Repo", "https://cydia.ichitaso.com/", "ichitaso_icon"},
    {u"iCraze's Repo", "https://repo.icrazeios.com/", "icraze_icon"},
    {u"Anamy's Repo", "https://repo.anamy.gay/", "anamy_icon"},
    {u"Merona Repo", "https://repo.co.kr/", "merona_icon"},
    {u"Skitty's Repo", "https://skitty.xyz/repo/", "skitty_icon"},
    {u"TIGI Software", "https://tigisoftware.com/cydia/", "tigi_icon"},
    {u"alias20's Repo", "https://alias20.gitlab.io/apt/", "alias20_icon"},
    {u"YouRepo", "https://yourepo.com/", "yourepo_icon"},
    {u"julioverne's Repo", "https://julioverne.github.io/", "julioverne_icon"},
    {u"jjolano's Repo", "https://ios.jjolano.me/", "jjolano_icon"},
    {u"Twickd Repo", "https://repo.twickd.com/", "twickd_icon"},
    {u"Matchstic's Repo", "https://repo.incendo.ws/", "matchstic_icon"},
    {u"rpetrich's Repo", "https://rpetri.ch/repo/", "rpetrich_icon"},
    {u"Chimera Repo", "https://repo.chimera.sh/", "chimera_icon"},
    {u"Odyssey Repo", "https://repo.theodyssey.dev/", "odyssey_icon"},
    {u"Electra's iOS Utilities", "https://electrarepo64.coolstar.org/", "electra_icon"},
    {u"Ivano Bilenchi's Repo", "https://ib-soft.net/cydia/", "ibsoft_icon"},
    {u"Frida", "https://build.frida.re/", "frida_icon"},
    {u"HackYouriPhone", "https://repo.hackyouriphone.org/", "hackyouriphone_icon"},
    {u"AppCake", "https://cydia.iphonecake.com/", "appcake_icon"},

    {u"Zebra Beta", "https://getzbra.com/beta/", "ZebraBeta"},
    {u"Dhinak's Repo", "https://dhinakg.github.io/repo/", "dhinakg"},
    {u"khanhduytran0's Repo", "https://khanhduytran0.github.io/repo/", "khanhduytran0"},
    {u"udevs' Repo", "https://udevsharold.github.io/repo/", "udevsharold"},
    {u"AnthoPak's Repo", "https://repo.anthopak.dev/", "AnthoPak"},
    {u"DTCalabro's Repo", "https://dtcalabro.github.io/repo/", "dtcalabro"},
    {u"ETHN's Repo", "https://nahtedetihw.github.io/", "nahtedetihw"},
    {u"MiRO's Repo", "https://miro92.com/repo/", "MiRO92"},
    {u"Nathan's Repo", "https://nathan4s.lol/repo/", "nathan4s"},
    {u"ichitaso's Apt", "https://ichitaso.com/apt/", "ichitaso"},
    {u"rob311's Beta Repo", "https://cydia.rob311.com/repo/", "rob311"},
    {u"JunesiPhone's Repo", "http://junesiphone.com/supersecret/", "JunesiPhone"},
    {u"Brend0n's Repo", "http://brendonjkding.github.io/", "brendonjkding"},
    {u"0xkuj's Repo", "https://0xkuj.yourepo.com/", "0xkuj"},
    {u"Kujman Repo", "https://0xkuj.github.io/kujman/", "kujman"},
    {u"ZX02's Repo", "https://zerui18.github.io/zx02/", "zerui18"},
    {u"ZX02 (YouRepo)", "https://zx02.yourepo.com/", "zx02"},
    {u"Akusio's Repo", "https://akusio.github.io/", "akusio"},
    {u"Sugiuta's Repo", "https://sugiuta.github.io/", "sugiuta"},
    {u"uz-ra's Repo", "https://uz-ra.github.io/", "uz-ra"},
    {u"p0358's Repo", "https://repo.p0358.net/", "p0358"},
    {u"Alexia's Repo", "https://repo.alexia.lol/", "alexia"},
    {u"maxiwee's Repo", "https://maxiwee.de/", "maxiwee"},
    {u"iGerman's Repo", "https://repo.igerman.cc/", "iGerman"},
    {u"iKarwan's Repo", "https://repo.ikghd.me/", "ikghd"},
    {u"Nebbs' Repo", "https://repo.itznebbs.com/", "itznebbs"},
    {u"Nixuge's Repo", "https://cydia.nixuge.me/", "nixuge"},
    {u"Dcsyhi1998's Repo", "https://dcsyhi1998.github.io/", "dcsyhi1998"},
    {u"b4db1r3's r3p0", "https://b4db1r3.github.io/d3vr3p0/", "b4db1r3"},
    {u"kingpuffdaddi's Repo", "https://kingpuffdaddi.github.io/", "kingpuffdaddi"},
    {u"ugly-soul's Repo", "https://ugly-soul.github.io/repo/", "ugly-soul"},
    {u"SkyPian's Repo", "https://skypain.github.io/repo/", "skypain"},
    {u"Sopppra's Repo", "https://sopppra.mooo.com/", "sopppra"},
    {u"dixtdf's Repo", "https://dixtdf.github.io/repo/", "dixtdf"},
    {u"ethxnn88's Repo", "https://ethxnn88.github.io/repo/", "ethxnn88"},
    {u"Lizynz's Repo", "https://lizynz.github.io/", "lizynz"},
    {u"wwg135's Repo", "https://wwg135.github.io/", "wwg135"},
    {u"amg789's Repo", "https://repo.amg789.com/", "amg789"},
    {u"ByteAge Repo", "https://repo.byteage.com/", "byteage"},
    {u"MaskJB", "https://apt.maskjb.com/", "maskjb"},
    {u"CydiaGeek's Repo", "https://cydiageek.yourepo.com/", "CydiaGeek"},
    {u"Aptso源", "https://aptso.cn/", "aptso"},
    {u"Cdalei源", "https://apt.cdalei.com/", "cdalei"},
    {u"Cydia.ren", "https://apt.cydia.ren/", "cydiaren"},
    {u"Cydiami源", "https://apt.cydiami.com/", "cydiami"},
    {u"NCydia源", "https://apt.ncydia.com/", "ncydia"},
    {u"Ssoes源", "https://apt.ssoes.com/", "ssoes"},
    {u"TinyApps源", "https://apt.tinyapps.cn/", "tinyapps"},
    {u"ZorroVIP源", "https://apt.zorrovip.com/", "zorrovip"},
    {u"电话助手作者源", "https://apt.htv123.com/", "htv123"},
    {u"艾锋源", "http://apt.ss03.cn/", "ss03"},

    // Later additions: keep this run alphabetical (case-insensitive) and insert new rows in place.
    {u"1Conan's Repo", "http://repo.1conan.com/", "1Conan"},
    {u"Aesthyrica", "https://aesthyrica.com/repo/", "Aesthyrica"},
    {u"ArtikusHG's Repo", "https://artikushg.github.io/", "ArtikusHG"},
    {u"checkra1n Substrate", "https://checkra.in/assets/mobilesubstrate/", "checkra1n_icon"},
    {u"CokePokes' Repo", "https://cokepokes.github.io/", "CokePokes"},
    {u"CoolStar's Repo", "http://coolstar.org/publicrepo/", "coolstar"},
    {u"DGh0st's Repo", "https://dgh0st.github.io/", "DGh0st"},
    {u"Diatrus' Repo", "https://diatr.us/apt/", "Diatrus"},
    {u"Dylan Duff's Repo", "https://dylanduff.com/repo/", "dylanduff"},
    {u"EmojiPort Fonts", "https://vxbakerxv.github.io/repo/", "vxbakerxv"},
    {u"EsquilliDev's Repo", "https://esquillidev.github.io/", "EsquilliDev"},
    {u"Evelyn's Collection", "https://evynw.github.io/", "evynw"},
    {u"Fouad's APT", "https://apt.fouadraheb.com/", "fouadraheb"},
    {u"GalacticDev", "https://galacticdev.me/", "GalacticDev"},
    {u"haoict's Repo", "https://haoict.github.io/cydia/", "haoict"},
    {u"HASHBANG Productions", "https://cydia.hbang.ws/", "hbang"},
    {u"Jakeashacks", "https://jakeashacks.net/cydia/", "Jakeashacks"},
    {u"Kritanta's Repo", "http://repo.kritanta.me/", "kritanta"},
    {u"Kunderscore's Repo", "https://kunderscore.gitlab.io/repo/", "kunderscore"},
    {u"Kurrt's Repo", "https://kurrt.com/repo/", "Kurrt"},
    {u"LonestarX's Repo", "https://repo.lonestarx.net/", "LonestarX"},
    {u"Menushka's Repo", "https://repo.menushka.ca/", "menushka"},
    {u"Nepeta", "https://nepeta.ignition.fun/", "nepeta_icon"},
    {u"NoisyFlake's Repo", "https://apt.noisyflake.com/", "NoisyFlake"},
    {u"Nosskirneh's Repo", "https://henrikssonbrothers.com/cydia/repo/", "Nosskirneh"},
    {u"Revulate's Repo", "https://revulate.dev/", "Revulate"},
    {u"Ryley's Repo", "https://ryleyangus.com/repo/", "ryleyangus"},
    {u"Supercharge", "https://repo.supercharge.app/", "supercharge"},
    {u"TitanD3v's Repo", "https://repo.titand3v.com/", "TitanD3v"},
    {u"XsF1re's Repo", "https://xsf1re.github.io/repo/", "XsF1re"},
    {u"Xyaman's Repo", "https://repo.xyaman.xyz/", "xyaman"},
};

} // namespace

const QList<RepoSource> &defaultSources()
{
    // A function-local static: built on first use, and the language guarantees that happens exactly once
    // even when several threads ask at the same moment.
    static const QList<RepoSource> sources = [] {
        QList<RepoSource> list;
        list.reserve(std::size(kRows));
        for (const Row &row : kRows) {
            // The link is the identity: two rows can only describe the same repository if they share it.
            const QString link = QString::fromLatin1(row.link);
            list.append(RepoSource{.id = link,
                                   .name = QStringView(row.name).toString(),
                                   .link = link,
                                   .imageName = QString::fromLatin1(row.imageName),
                                   .isDefault = true});
        }
        return list;
    }();
    return sources;
}
