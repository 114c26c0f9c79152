#pragma once

#include <string>

// The word lists of the e-mail stages, as pattern alternations ("a|b|c"). Longer alternatives come
// before their prefixes so that the matcher takes the whole phrase.
namespace murvelo::cleanup::layout::vocabulary {

inline const std::string kGreetingWords =
    "good morning|good afternoon|good evening|hello|hey|hi|dear|morning";

inline const std::string kTitles = "Dr|Mr|Mrs|Ms|Prof";

// Never a name right after a greeting or right before a sign-off.
inline const std::string kNeverNames =
    "thanks|thank|just|so|please|sorry|good|great|okay|happy|quick|regarding|following|per|as|i|we|it|this|"
    "that|here|there|wanted|hoping|let|can|could|would|do|did|is|are|was|were|have|has|had|will|should|"
    "also|and|but|or|if|when|since|because|sending|attached|below|looking|checking|glad|congrats|"
    "congratulations|welcome|apologies|sure|yes|no|not|any|your|you|my|our|the|a|an|one|two|first|before|"
    "after|long|nice|hey|hi|hello|dear|morning|afternoon|evening";

inline const std::string kGroupAddressees =
    "you both|you two|you all|y'all|y’all|everyone|everybody|all|team|there|folks|guys|both|friends|gang|"
    "brother|bro|dude|man|buddy|bud|mate|pal|sis|fam";

inline const std::string kFamilyAddressees =
    "mom|mum|mama|momma|mummy|mother|dad|daddy|papa|father|grandma|grandmother|grandad|granddad|grandpa|"
    "grandfather|granny|gran|nanna|nana|nan|auntie|aunt|uncle|sister|brother|cousin";

inline const std::string kDayWords =
    "monday|tuesday|wednesday|thursday|friday|saturday|sunday|today|tomorrow|tonight|yesterday";

// May not open a signature name ("Love, Best" is a sign-off, not a person).
inline const std::string kNotSignatureStarts =
    "love|lots|much|hugs|big|xoxo|cheers|best|kind|warm|warmest|regards|sincerely|yours|merry|bye";

inline const std::string kBodyOpeners =
    "thanks|thank|hope|hoping|just|quick|here|this|it['’]s|it|wanted|following|per|regarding|about|as|so|"
    "sorry|happy|great|good|congrats|congratulations|i['’]m|i['’]ve|i['’]d|i['’]ll|i|we['’]re|we['’]ve|"
    "we['’]d|we['’]ll|we|please|can|could|would|do|did|any|you['’]re|you['’]ve|your|you|the|a|an|my|our|got|"
    "saw|checking|reaching|looping|circling|apologies|appreciate|glad|looks|let|no|not|yes|first|before|"
    "after|when|if|since|based|attached|below|above|sending|forwarding|sharing|touching|writing|welcome|long|"
    "nice|unfortunately|fortunately|hopefully|really|okay|ok|all|everything|nothing|something|there|that|"
    "these|those|what|how|where|wondering|sounds|perfect|awesome|absolutely|definitely";

// Courtesy closings that may end a message.
inline const std::string kCourtesyClosings =
    "have a (?:great|good|wonderful|nice|lovely|fantastic|safe|relaxing|restful) "
    "(?:rest of (?:your|the) (?:day|week|weekend|evening|month|year)|day|evening|night|morning|afternoon|"
    "weekend|week|one|trip|flight|holiday|vacation)"
    "|have a good one"
    "|enjoy (?:your|the) (?:rest of (?:your|the) (?:day|week|weekend|evening)|day|evening|weekend|week|trip|"
    "vacation|holiday)"
    "|take care|talk soon|talk to you (?:soon|then|later|tomorrow|next week)|speak soon|speak to you soon"
    "|chat soon|hope (?:this|that) helps|looking forward to it|see you (?:soon|then|there|tomorrow)"
    "|bye[- ]bye|bye for now|bye";

inline const std::string kClosingLeadIns = "all right|alright|okay|ok|anyway|so|and";

inline const std::string kCasualTags =
    "my friend|friend|brother|bro|dude|man|buddy|bud|mate|pal|sis|fam|guys|everyone|all|team";

// Sign-offs that stand above a signature name in a closing block, beside the courtesy closings.
// Chosen as the sign-offs people actually put on a line of their own above their name.
inline const std::string kSignOffs =
    "thanks so much|thanks again|thanks a lot|thank you so much|thank you|many thanks|thanks|"
    "best regards|best wishes|kind regards|warm regards|warmest regards|regards|all the best|best|cheers|"
    "sincerely|yours truly|yours sincerely|yours|respectfully|warmly|lots of love|love|hugs|xoxo|"
    "with thanks|with love|with gratitude|with appreciation|with best wishes|with kind regards|"
    "with warm regards";

// Imperatives that follow an introductory condition ("If ... by Friday, send ...").
inline const std::string kConditionImperatives =
    "leave|keep|send|call|email|tell|hold|wait|contact|return|open|close|confirm|let|do|use|stop|start|"
    "check|notify";

inline const std::string kSendingVerbs =
    "send|email|deliver|route|address|return|give|hand|forward|assign|show|bring|take";

}  // namespace murvelo::cleanup::layout::vocabulary
