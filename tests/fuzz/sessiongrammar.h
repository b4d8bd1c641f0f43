// sessiongrammar.h: what a user could type, right or nearly so, for the sessions of fuzz_sessions.
//
// A text is typed as it stands, but for
//     <name>     one of the texts of that rule
//     <3-12>     a number from 3 to 12; now and then one that is out of all proportion
//     <=3-12>    a number from 3 to 12
//     {a|b|c}    one of these
//     `          before a character that would mean one of the above
// Each choice takes a byte (a number of more than 256 values two).  Without bytes the first choice is taken, so
// that a rule which contains itself does not come first.  Searches are kept small: dozens of rearrangements, not
// thousands.  Left out is what reaches out of the session (other programs and folders, the end of the program) or
// depends on the clock.
#pragma once

struct rule { const char *name, *text; };

constexpr rule grammar[] = {
    { "tree", "0|/|<0-6>|<0-20>" },
    { "trees", "|0|.|<0-5>.<0-9>|<0-3> <0-9>|<0-4>.|.<0-4>|`{<0-4>`}|/" },
    { "taxon", "<0-6>|<0-11>|t<0-11>|<0-12>" },
    { "taxa", "<taxon>|<taxon> <taxon>|<0-4>.<3-9>|.|@0 <0-24>|`{<0-3>`}|t1...|<taxon> <taxon> <taxon>" },
    { "char", "<0-9>|<0-9>|<0-19>|@<0-3> <0-5>" },
    { "chars", "<char>|<0-9>.<5-19>|.|<char> <char>|`{<0-3>`}|@<0-3> .|<char>." },
    { "state", "0|1|<0-3>|`[01`]|<0-9>|?|A|`[0<1-5>`]" },
    { "onoff", "=|-|/|" },
    { "file", "one|two|three" },
    { "newick", "(0 (1 (2 3)))|(0 <clade>)|(<clade> <clade>)|(<taxon> <clade> <clade>)" },
    { "clade", "(1 2)|<taxon>|<0-11>|(<clade> <clade>)|(<clade> <clade> <clade>)|(<taxon> <clade>)" },
    { "some", "1|<1-2>|<1-3>|<2-5>" },
    { "small", "0|1|<0-3>|<0-8>" },
    { "percent", "50|0|100|<0-100>|<0-30>" },
    { "real", "1|0|0.5|<0-3>.<0-999>|<0-20>" },

    { "command", "<search>|<search>|<search>|<search>|<schset>|<schset>|<setting>|<setting>|<charset>|<charset>|<weights>|"
                 "<trees_in>|<trees_in>|<diagnosis>|<consensus>|<groups>|<files>|<output>|<data>|<macros>|<wrong>" },

    { "search",
      "mult <some>;|mult;|bbreak;|<xmult>|ratchet <some>;|drift <some>;|<sectsch>|<tfuse>|hybrid <hybrid>;|"
      "pfijo <pfijo>;|ienum{||&|-};|qnelsen <qnelsen>;|rebuild <some>;|mult= <multopt>;|bbreak= <bbopt>;|"
      "ratchet= iterations <some> <ratopt>;|drift= iterations <some> <driftopt>;|mult <some> = <multopt> <multopt>;|"
      "rebuild= cycles <some> percent <1-90>;|bbreak= <bbopt> <bbopt>;|usminmax *;|tfuse / <0-4> <12-24> <0-4>;" },
    { "schset",
      "mult: <multopt> <multopt>;|bbreak: <bbopt> <bbopt> <bbset>;|<xmultset>|ratchet: <ratopt> <ratopt>;|drift: <driftopt> <driftopt>;|"
      "sectsch: <ssopt> <ssopt> <ssset>;|tfuse: <fuseopt> <fuseopt>;|pfijo: <pfopt> <pfopt>;|subopt <subopt>;|collapse <collapse>;|"
      "qcollapse <onoff>;|hold <hold>;|<force>|constrain {=|-|};|rseed <rseed>;|rebuild: cycles <some> percent <1-90>;" },
    { "rseed", "<=1-99>|`[|`]|`>|`<|!|-|:<0-3>|+|" },
    { "hold", "<1-10>|<=1-40>|+<0-5>|-<0-5>|--|++|<1-10>/<1-8>|" },
    { "subopt", "0|<0-5>|<0-9>x<real>|0.<0-9>|<real>x0.<0-9>|" },
    { "collapse", "none|rule <1-6>|<0-6>|amb|spr|tbr|auto|noauto|`[|`]|tempcollapse|notempcollapse|rule 1|rule 3|rule 4|" },
    { "swapper", "tbr|spr|wagner" },
    { "addseq", "ras|cas <0-5>|fas <0-5>|sas <0-5>|ias <0-5>|cas|fas|sas|ias" },
    { "multopt", "replic <some>|hold <1-5>|<swapper>|{|no}keepall|<addseq>|wclus <0-6>|nowclus|{|no}ratchet|{|no}drift|outfreq <0-3>" },
    { "bbopt", "tbr|spr|{|no}mulpars|{|no}fillonly|{|no}safe|{|no}randclip|limit <0-6>|nolimit|{|no}preproc|{|no}stratswap|{|no}skipspr" },
    { "bbset", "|clustersize <3-9>|xbits|noxbits|inters|inters 2|nointers|" },
    { "ratopt", "numsubs <0-9>|{|no}equals|upfactor <0-100>|downfactor <0-100>|autoconst <0-4>|noautoconst|giveup <0-100>|nogiveup|"
                "findscore <1-40>|nofindscore|fusefreq <3-4>x<1-2>|nofusefreq|{|no}dumpfuse|{|no}tradrat" },
    { "driftopt", "numsubs <0-9>|{|no}equals|xfactor <real>|fitdiff <real>|rfitdiff <real>|flat <0-3>|rflat <real>|flatnumsubs <0-9>|"
                  "{|no}pert|autoconst <0-4>|noautoconst|giveup <0-100>|findscore <1-40>|fusefreq <3-4>x<1-2>|nofusefreq|{|no}dumpfuse" },
    { "sectsch", "sectsch;|sectsch <tree>;|sectsch= <ssopt> <ssopt>;|sectsch= `[<inner>`] <ssopt>;|"
                 "sectsch= rss minsize <5-8> maxsize <5-12> <ssopt>;|sectsch= xss <2-4>-<2-4>+<1-2>-<0-1> <ssopt>;|"
                 "sectsch= dss <0-24> <1-6> tree <0-4>;|sectsch= css minfork <2-4> <ssopt>;" },
    { "ssopt", "rss|css|xss <2-4>-<2-5>+<1-2>-<0-2>|noxss|minsize <5-9>|maxsize <5-12>|increase <0-100>|selfact <0-40>|selfact= <1-9> <1-9>|"
               "moveon <0-4>|minfork <2-5>|maxfork <5-12>|rounds <1-3>|{|no}xeven|{|no}chkroot|global <0-4>|dglobal <0-4>|noglobal|"
               "{|no}equals|fuse <0-2>|nofuse|godrift <0-9>|drift <0-2>|gocomb <0-9>|nogocomb|starts <1-3>|combstarts <1-3>|"
               "findscore <0-40>|nofindscore|{|no}keepall|{|no}safesank|track|tree <0-4>" },
    { "ssset", "|slack <0-50>|xbuffer|noxbuffer|recurse <0-2>" },
    { "inner", "mult 1;|bbreak;|ratchet 1;|drift 1;|mult 1; bbreak;|collapse `[; mult 1;|sectsch= `[mult 1;`];|<search>|<setting>|<charset>|hold <1-5>; mult 1;" },
    { "tfuse", "tfuse;|tfuse <trees>;|tfuse= <fuseopt> <fuseopt>;|tfuse <trees> = <fuseopt> <fuseopt>;|tfuse= hybridize <1-4>*<1-2>/<0-5> <fuseopt>;" },
    { "fuseopt", "{|no}equals|{|no}beststart|{|no}choose|{|no}repeat|{|no}swap|minfork <2-5>|rounds <0-3>|{|no}keepall|xroot <0-3>|noxroot|"
                 "hybridize <1-4>*<1-2>/<0-5>|nohybridize|autostop <0-3>|{|no}autostop|{|no}replace|clog <1-5>|noclog|picktype <real>|nopicktype|exchange <0-100>" },
    { "hybrid", "0 1|<0-4> <0-4>|<0-4> <0-4>/<0-9>|-<0-4> <0-4>/<0-9>|+<0-4>|*<0-4>|!<0-4>|-0 1" },
    { "pfijo", "0 = numsels 1|= numsels <1-2> <pfopt>|<0-4> = numsels 1 drift 1 <pfopt>|= numsels 1 chunksize 10 <pfopt>" },
    { "pfopt", "numsels <1-2>|phtus <1-100>|{|no}goback|{|no}keepall|autofuse <0-2> <0-2>|drift <0-1> <real> <real>|drift 1|chunksize <10-12>|slack <0-50>" },
    { "qnelsen", "replications <1-3>|replications <1-3> select <percent> strictperc <percent> majorcut <50-100>|replications 2 `[mult 1;`] / <taxa>|"
                 "replications <1-3> `[<inner>`]|replications 2 allow `[mult 1; bbreak;`]" },
    { "xmult", "xmult= replications <1-2> hits <1-2>;|xmult= replications 1 <xopt> <xopt>;|xmult= hits <1-3> <xopt> <xopt> <xopt>;|"
               "xmult= level <0-3> hits 1;|xmult;|xmult= hits 3 consense <1-2> conbase <1-2> <xopt> / <taxa>;|"
               "xmult= hits <2-4> gfuse <2-3> <xopt>;|xmult= replications 2 hits 1 hybrid x1 <xopt>;|xmult= level 0 <xopt> <xopt>;" },
    { "xmultset", "xmult: replications <1-2> <xopt> <xopt>;|xmult: level <0-10>;|xmult: level <0-10>.<0-9> <4-300>;|xmult: <xopt> <xopt> <xopt>;" },
    { "xopt", "hits <1-3>|replications <1-3>|targetscore <1-60>|notargetscore|{|no}update|giveupscore <1-60>|nogiveupscore|{|no}rss|{|no}css|{|no}xss|"
              "fuse <1-2>|nofuse|gfuse <2-3>|nogfuse|hfuse <5-6>|nohfuse|{|no}dumpfuse|rebuild <0-2>|norebuild|drift <0-2>|nodrift|ratchet <0-2>|"
              "noratchet|hold <1-4>|autoconst <1-3>|noautoconst|{|no}xmix|{|no}prvmix|consense <1-2>|noconsense|conbase <1-3>|confactor <10-100>|"
              "conmax <5-7>|noconmax|{|no}keepall|retouch <0-2>|noretouch|chklevel +0.<1-9> <1-3>|chklevel <0-3>|nochklevel|{|no}multiply|"
              "{|no}verbose|hybrid|hybrid x<1-3>|nohybrid|picktype <real>|nopicktype|filter <0-2>|<addseq>|level <0-4>" },
    { "force", "force + `[<taxa>`];|force + `[<taxon> <taxon> <taxon>`] `[<taxon> <taxon>`];|force + `[<taxon> <taxon> (<taxa>)`];|force - `[<taxa>`];|"
               "force= <newick>;|force= &<tree>;|force / <newick>;|force : <newick>;|force + `[<taxon> <taxon>`] - `[<taxon> <taxon>`];|force `> <taxa>;|"
               "force `< <taxa>;|force `[<0-2>;|force `];|force;|force *;|force = <newick> * / <newick>;|force - `[<taxa>`] `[<taxa>`];|force / &<tree>;" },

    { "setting", "taxcode -<taxa>;|taxcode +<taxa>;|taxcode + .;|outgroup <taxon>;|outgroup;|taxname <onoff>;|taxname / <taxon> named;|absincl <onoff>;|"
                 "unshared <onoff>;|report <onoff>;|riddup -;|mxram <=1-4>;|mxram {`[|`]|+|-};|tshrink 0 <12-24>;|tshrink -;|costs `<;|costs `>;|"
                 "nstates {8|16|32};|nstates {exactmin|noexactmin};|nstates {stand <1-20>|lstand <1-20>|shift|fix|`[|`]};|costs {&|`|};|help {`>|`<|!};|"
                 "naked <onoff>;|tables <onoff>;|tables / <0-10>;|silent {=all|-all|=buffer|-buffer|=file|};|cnames {=|-|};|minmax;;|"
                 "nstates {gaps|nogaps|min};|mxram *<=1-3>;|lintrees <onoff>;|warn -;|echo <onoff>;|taxname `[<1-9>;|taxname `];|xwipe;|usminmax;" },
    { "charset", "ccode <spec> <chars>;|ccode <spec> <chars> <spec> <chars>;|ccode `[ .;|ccode {-|+} .;|ccode ( <chars>;|ccode ) .;|ccode;|ccode !;|ckeep;|"
                 "costs <chars> = <costdef>;|costs <chars> = *<1-5> <costdef>;|cstree <chars> = \n0-1-2\n;|cstree <chars> = \n0-1-2-3\n  |\n  4\n;|"
                 "cstree <chars> `< <1-3>\n1-0-2-3\n;|cstree {+|-};|ancstates <chars>;|ancstates -<chars>;|usminmax <chars> = <0-6>;|"
                 "usminmax <chars> `> <0-9>;|usminmax -<chars>;|xinact;|xinact *;|smatrix =<0-2> (m) <costdef>;|smatrix + m <chars>;|"
                 "smatrix + <0-2> <chars>;|smatrix;|smatrix &;|smatrix &-;|ccode / <0-9> <chars>;|info;|costs <chars>;|ccode ~ <chars>;|ccode = <0-5> <chars>;" },
    { "spec", "-|+|`]|`[|(|)|/<0-9>|/<0-999>|=<0-9>|~|*" },
    { "costdef", "0`>1 2|0/1 <0-9>|`[01`]/2 <1-5>|0`>1 1 1`>0 <1-9>|?`>? <1-3>|<state>`><state> <0-9>|0/1 1 1/2 1 0/2 2|<state>/<state> <0-20> <state>`><state> i" },
    { "weights", "piwe= <1-20>;|piwe=;|piwe -;|piwe=.<1-9>;|piwe : <1-9>;|piwe `<<2-9> <1-9>;|piwe `[ 1 0.<0-9> 0.<0-4>;|piwe `];|piwe `| <1-5>;|piwe & <chars>;|piwe;|"
                 "xpiwe `[<chars>;|xpiwe `[<chars> =<1-4>;|xpiwe `[<chars> /12:3;|xpiwe `];|xpiwe `] =<1-4>;|xpiwe /<0-3>x<real> <chars>;|xpiwe !<chars>;|"
                 "xpiwe (*0.<1-9>;|xpiwe (*0.<1-9> `<<1-5> /<1-9>;|xpiwe (=*0.<1-9>;|xpiwe (<chars> /<1-9>;|xpiwe );|xpiwe & <trees>;|xpiwe *;|xpiwe {=|-|};|"
                 "piwe= 3;|piwe= 10;|piwe -;" },
    { "trees_in", "randtrees <1-5>;|randtrees <1-5> <percent> <0-4>;|randtrees /;|randtrees *;|tread <newick>;|tread <newick> * <newick>;|keep <0-4>;|best;|best <0-4>;|"
                  "best *;|best `[;|best `];|unique;|unique *;|unique `[;|sort= {score|nodes|size|mono};|reroot;|reroot <taxon>;|reroot <12-24>;|pruntax <trees> / <taxa>;|"
                  "edit <tree> <1-24> <1-24>;|edit <tree> - <12-24>;|edit `] <0-4> <1-24> <1-24> 0;|condense;|condense <trees>;|condense <trees> / <taxa>;|condense `[;|"
                  "condense /<0-4> <12-24>;|tchoose <trees>;|tchoose /;|riddup;|tvault `> <trees>;|tvault `< <trees>;|tvault `>/;|tvault `</;|tvault -;|tvault;|tvault *;|"
                  "tzert <0-4> <0-4>;|keep 0;|randtrees <1-9>;|tread =<0-3> <newick>;|tread (0 @0 <12-24>);|tread (0 1=tag (2=9 3)=<0-9>);" },
    { "diagnosis", "scores;|length;|scores ! <trees>;|length ! <trees>;|fit;|fit * <trees>;|fit !;|scores *;|cscores <trees>;|cscores ! <trees> / <chars>;|chomo <trees>;|chomo !;|"
                   "blength <trees>;|blength * <trees>;|blength /;|blength *`> <trees>;|minmax <chars>;|minmax * <chars>;|minmax - ;|info {|-};|mono;|mono -;|tequal;|tnodes <trees>;|"
                   "tnodes *;|tsize;|xcomp= <tree>;|xcomp <trees>;|xcomp * <trees>;|xcomp <trees> `><0-3> <0-3>;|incltax `[<trees>;|incltax `]<trees>;" },
    { "consensus", "nelsen;|nelsen <trees>;|nelsen * <trees>;|nelsen <trees> / <taxa>;|nelsen // <taxa>;|nelsen {`<|`>};|majority <trees>;|majority * <trees> / <taxa>;|"
                   "majority = <50-100>;|majority `[<tree>`] <trees>;|majority (<tree>);|freqdifs <trees>;|freqdifs * <trees>;|freqdifs = <percent>;|freqdifs `[<tree>`];|"
                   "comcomp <trees>;|comcomp * <trees>;|comcomp & <trees> / <taxa>;|mixtrees <trees>;|mixtrees * <trees>;|mixtrees =<1-4> *;|mixtrees =`[1 2`] <trees>;|"
                   "resols <trees>;|resols & <trees>;|resols `[<12-24>`] `><0-3>;|tplot <trees>;|tplot * <trees>;|tplot : <12-24>;|ttags= ; nelsen; ttags);|ttags *<tree>;|"
                   "ttags;|ttags -;|ttags +<0-24> txt;|condense * `< <0-9>;|condense * =<0-9>;|nelsen & <trees>;" },
    { "groups", "agroup =<0-3> <taxa>;|agroup =<0-3> *<1-5>;|agroup `><0-3> <taxa>;|agroup `<<0-3> <taxa>;|agroup -<0-3>;|agroup =<0-3> char <0-9>=<state>;|"
                "xgroup =<0-3> <chars>;|xgroup =<0-3> {min|max|len|homo|score}{=|`>|`<}<0-9>;|xgroup =<0-3> type={num|cont|add|nonadd|sank};|xgroup -<0-3>;|"
                "tgroup =<0-3> <trees>;|tgroup =<0-3> {len|nod|siz}{=|`>|`<}<0-60>;|tgroup =<0-3> mono;|tgroup `><0-3> <trees>;|tgroup -<0-3>;|tgroup {|/|auto|noauto|*};|"
                "blocks <0-5> <4-9> <8-15>;|blocks = <0-3>;|blocks =& <1-3>;|blocks = 0;|blocks `{;|cnames `{<0-9> cn a b; ;|cnames `[<1-3> bn;|cnames &;|cnames `<;|cnames;" },
    { "files", "tsave *<file>; save; tsave/;|tsave <file>; save <trees>; tsave/;|tsave *<file>;|tsave <file>+;|tsave =<file>;|tsave =*<file>;|save <trees>;|save /;|save *;|save - <trees>;|tsave/;|"
               "proc <file>;|shortread <file>;|shortread =<0-3> <file>;|xread *<file>;|xread *! <file>;|xread *- <file>;|xread *`[ <file>;|xread *: <file>;|xread *(0) <file>;|"
               "export <file>;|export * <file>;|export *+ <file>;|export ={<file>};|export - <file>;|export !<file>;|export `] <file>;|export + <file>;|proc `[<file>;|proc &<file>;|"
               "log <file>;|log +<file>;|log /;|log;|svtxt;|log &<file>;|log &/;|cnames `| <file>;|run <file> 1 2;|ttags &<file>;|proc /;" },
    { "output", "silent =buffer;|silent -all;|quote text .,;|lquote <onoff>;|lquote `[;|lquote `];|cls;|clbuffer;|screen <10-40>x<20-90>;|taxlabels;|taxlabels <taxa>;|watch <onoff>;|"
                "help <word>;|<word> ?;|help;|tplot;|beep -;|vversion;|mxram;|mxproc <1-4>;|ttags / ;|ttags :;|xread *;" },
    { "word", "mult|xmult|costs|tgroup|ienum|xread|sectsch|force" },
    { "data", "xread / <=4-20> <=4-9> <0-9>;|xread= <char> <taxon> <state>;|xread= `[<chars>`] `[<taxa>`] <state>;|xread =! <char> <taxon> <state>; xread ==;|xread ==;|"
              "xread = ? 0.<0-9> 0.<0-9>;|xread `< 0 <percent> <chars>;|xread `> 0 <percent>;|xread & 0 <percent>;|xread + <tree> <percent> <=1-9> <2-5>;|"
              "xread 5 4 a 00000 b 00111 c 11?`[01`]1 d 111-0;|xwipe;|xread / <=4-20> <=4-9>;" },
    { "macros", "macro=; loop 0 <=0-3> scores #1; stop macro -;|macro=;|macro -;|set <0-9> <expr>;|set 0 'grandscore';|var 0;|if ({0|1|<expr>}) <command> else <command> end;|"
                "loop <=0-2> <=0-3> <command> stop;|sprit <tree> length 0; stop;|tbrit <tree> endswap; stop;|sprit <tree> resetswap; endswap; stop;|copytree <tree>;|copytree 0 <0-4>;|copytree *;|"
                "travtree up 0 root 1 quote '1'; endtrav;|combine 3 2 5 <command> endcomb|maketable + 20; length; maketable -;|var: x`[30`];|set x <expr>;|macfloat {e|3|6};|"
                "bandb if (ntax `> 3) cutbranch; end stop|safe vars <1-9>;|macseed <=1-99>;|set * x <0-9>;|setarray 3 x 1 2 3;|goto <file> .;|errmsg oops;|report -; progress 1 3 w; report=;|"
                "macro=; <search> set 1 grandscore; quote '1'; macro -;|xend;" },
    { "expr", "length[<0-4>]|score[<0-4>]|ntrees|ntax|homo[<0-4> <0-9>]|isinform[<0-9>]|grandscore|steps[0 <0-9>]|states[<0-9> <0-9>]|anc[0 <0-24>]|deslist[0 root]|maxtrees|'<0-9>'|<0-9>" },
    { "wrong", "mult= nonsense;|<word> <word>;|{mult|xmult|ratchet|force|ccode|costs|tread|taxcode} {`]|&|(|*|!|99|x};|force + `[ 0 1|tread (0 (1;|ccode +;|<word> = ;|"
               "scores 99;|randtrees -1;|nosuchcommand;|{hold|keep|best|subopt|piwe|outgroup} {-1|abc|1e9|99999|0};|sectsch= `[ mult;|outgroup 99;|costs 0 = 0`> 1;" },
};
