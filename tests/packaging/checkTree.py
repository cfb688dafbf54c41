"""Checks one rule about the source tree: checkTree.py RULE --source FOLDER --build FOLDER

Prints every place that breaks the rule and fails if there is one.
"""
import argparse
import sys

import documentRules
import layers
import sourceRules
import versionRules

RULES = {
    "EveryTestSourceIsBuilt": sourceRules.every_test_source_is_built,
    "SourcesAskForNoPlatform": sourceRules.sources_ask_for_no_platform,
    "CasefileLeavesTheSystemToTheSeam": sourceRules.casefile_leaves_the_system_to_the_seam,
    "SourcesUseNothingThatLosesWakeUps": sourceRules.sources_use_nothing_that_loses_wake_ups,
    "ThreadLocalsAreNotDestroyed": sourceRules.thread_locals_are_not_destroyed,
    "HeadersIncludeNothingForeign": sourceRules.headers_include_nothing_foreign,
    "IncludesPointDownwards": layers.includes_point_downwards,
    "OnlyKnownNamesAtTheTop": sourceRules.only_known_names_at_the_top,
    "KeptOdditiesAreDocumentedAndTested": documentRules.kept_oddities_are_documented_and_tested,
    "ReadmeListsTheOptions": documentRules.readme_lists_the_options,
    "ReadmeShowsTheExample": documentRules.readme_shows_the_example,
    "GettingStartedShowsTheExample": documentRules.getting_started_shows_the_example,
    "ReadmeShowsTheLastRun": documentRules.readme_shows_the_last_run,
    "RecipesShowTheExamples": documentRules.recipes_show_the_examples,
    "RecipesListTheRecordSizes": documentRules.recipes_list_the_record_sizes,
    "DocumentsLinkToWhatIsThere": documentRules.documents_link_to_what_is_there,
    "DocumentsNamePathsThatExist": documentRules.documents_name_paths_that_exist,
    "DocumentsNameMembersThatExist": documentRules.documents_name_members_that_exist,
    "EverySourceIsInADocument": documentRules.every_source_is_in_a_document,
    "ErrorsDocumentHasTheAssertions": documentRules.errors_document_has_the_assertions,
    "VersionsAgree": versionRules.versions_agree,
    "ListsOfProofNameLinesThatExist": documentRules.lists_of_proof_name_lines_that_exist,
}


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("rule", choices=RULES)
    parser.add_argument("--source", required=True)
    parser.add_argument("--build", required=True)
    arguments = parser.parse_args()

    complaints = list(RULES[arguments.rule](arguments.source, arguments.build))
    for complaint in complaints:
        print(complaint)
    return 1 if complaints else 0


if __name__ == "__main__":
    sys.exit(main())
